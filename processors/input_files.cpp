#include "processors/input_files.h"

#include <boost/filesystem/operations.hpp>

#include "common/sequencing_file.h"

namespace Tavik {

namespace fs = boost::filesystem;

namespace {

bool IsCompressedReadFile(const fs::path& path) {
    return Common::LowerCaseExtension(path.string()) == ".gz" && Common::HasReadFileExtension(path.stem().string());
}

template <typename DirectoryIterator>
InputFiles Walk(const std::string& folder) {
    InputFiles files;
    for (DirectoryIterator entry(folder), end; entry != end;) {
        const auto path = entry->path();
        boost::system::error_code ignored;  // A link to nowhere or an entry that vanished is no regular file.
        const auto status = entry->status(ignored);
        if (fs::is_regular_file(status)) {
            if (Common::HasReadFileExtension(path.string())) {
                files.plain.push_back(path.string());
            } else if (IsCompressedReadFile(path)) {
                ++files.compressed;
            }
        }
        boost::system::error_code error;
        entry.increment(error);
        if (error) {
            // The step into a folder fails without its name.
            throw fs::filesystem_error("Could not list a folder", fs::is_directory(status) ? path : path.parent_path(),
                                       error);
        }
    }
    return files;
}

}  // namespace

InputFiles FindReadFiles(const std::string& folder, bool recursive) {
    return recursive ? Walk<fs::recursive_directory_iterator>(folder) : Walk<fs::directory_iterator>(folder);
}

}  // namespace Tavik
