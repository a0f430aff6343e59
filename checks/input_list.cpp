#include "checks/input_list.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include <boost/filesystem/path.hpp>

#include "common/sequencing_file.h"

namespace Checks {

namespace fs = std::filesystem;

namespace {

// `name`: what an error calls the stream. std::cin reads through C's stdin, and only stdin records that a read failed.
std::vector<std::string> Lines(std::istream& stream, const std::string& name) {
    std::vector<std::string> lines;
    errno = 0;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    if (stream.bad() || (&stream == &std::cin && std::ferror(stdin) != 0)) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return lines;
}

template <typename Iterator>
std::vector<std::string> Walk(const fs::path& folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (Iterator entry(folder, error); !error && entry != Iterator(); entry.increment(error)) {
        std::error_code unknown;
        if (Common::HasReadFileExtension(entry->path().string()) && entry->is_regular_file(unknown)) {
            files.push_back(entry->path().lexically_relative(folder).string());
        }
    }
    if (error) {
        throw std::system_error(error, folder.string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

InputList FindInput(const std::string& input, bool recursive) {
    if (input == "-") {
        return {"", Lines(std::cin, "standard input")};
    }
    std::error_code unknown;
    if (fs::is_directory(input, unknown)) {
        using All = fs::recursive_directory_iterator;
        return {input, recursive ? Walk<All>(input) : Walk<fs::directory_iterator>(input)};
    }
    std::ifstream stream(input, std::ios_base::binary);
    if (!stream) {
        throw std::system_error(errno, std::generic_category(), input);
    }
    return {"", Lines(stream, input)};
}

std::string SamName(const std::string& file, const std::string& input_path) {
    // The aligner uses Boost's paths. Those of std::filesystem differ: a file named ".fastq" has no extension there.
    using boost::filesystem::path;
    path name = path(file).filename();
    if (!input_path.empty()) {
        const path base(input_path.substr(0, input_path.find_last_not_of("/\\") + 1));
        const path whole(file);
        auto [left, rest] = std::mismatch(base.begin(), base.end(), whole.begin(), whole.end());
        name.clear();
        for (; left != base.end(); ++left) {
            name /= "..";
        }
        for (; rest != whole.end(); ++rest) {
            name /= *rest;
        }
    }
    return name.replace_extension("sam").string();
}

}  // namespace Checks
