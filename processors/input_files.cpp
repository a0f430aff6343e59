#include "processors/input_files.h"

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>

#include "common/logging/record.h"
#include "common/sequencing_file.h"

namespace Tavik {

namespace fs = boost::filesystem;

namespace {

// An inaccessible read file, most often a dangling link, must not be skipped silently.
void WarnIfReadFile(const fs::path& path) {
    if (Common::HasReadFileExtension(path.string()) || Common::HasCompressedReadFileExtension(path.string())) {
        boost::system::error_code reason;
        fs::status(path, reason);
        TAVIK_LOG(warning) << "Input file " << path.string() << " is left out: " << reason.message();
    }
}

template <typename DirectoryIterator>
InputFiles Walk(const std::string& folder) {
    InputFiles files;
    for (DirectoryIterator entry(folder), end; entry != end;) {
        const auto path = entry->path();
        boost::system::error_code unknown;
        const auto status = entry->status(unknown);
        if (fs::is_regular_file(status)) {
            if (Common::HasReadFileExtension(path.string())) {
                files.plain.push_back(path.string());
            } else if (Common::HasCompressedReadFileExtension(path.string())) {
                ++files.compressed;
            }
        } else if (!fs::exists(status)) {
            WarnIfReadFile(path);
        }
        boost::system::error_code error;
        entry.increment(error);
        if (error) {
            // Boost's own error does not name the folder that could not be entered.
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
