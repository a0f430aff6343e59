#include "live/read_files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "common/sequencing_file.h"

namespace Live {

namespace fs = std::filesystem;

namespace {

Stamp StampOf(const struct stat& status) {
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    return {static_cast<std::uint64_t>(status.st_size), status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec,
            status.st_ino};
}

// Adds the files in one folder to `look` and its sub-folders to `folders`, all named relative to `root`.
std::error_code LookInto(const std::string& folder, const std::string& root, const std::string& end_file, Look& look,
                         std::vector<std::string>& folders) {
    std::error_code error;
    const auto start = folder.empty() ? "" : folder + "/";
    for (fs::directory_iterator entry(fs::path(root) / folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const auto path = entry->path().string();
        const auto name = path.substr(path.rfind('/') + 1);
        std::error_code unknown;
        look.end_file = look.end_file || (!end_file.empty() && name == end_file && !entry->is_directory(unknown));
        // Most file systems store the type in the directory entry, so these calls need not access the file.
        const bool is_folder = !entry->is_symlink(unknown) && entry->is_directory(unknown);
        if (is_folder && name != kHiddenFolder) {
            folders.push_back(start + name);
        }
        if (!Common::HasReadFileExtension(name) && !Common::HasCompressedReadFileExtension(name)) {
            continue;
        }
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
            look.files.push_back({start + name, StampOf(status)});
        } else if (!is_folder && ::lstat(path.c_str(), &status) == 0) {
            look.left_out.emplace(start + name, "not a regular file");
        }
    }
    return error;
}

}  // namespace

Stamp StampOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return StampOf(status);
}

std::vector<std::string> OtherFormsOf(const std::string& name) {
    constexpr std::size_t kEnding = 3;
    return Common::HasCompressedReadFileExtension(name) ? std::vector{name.substr(0, name.size() - kEnding)}
                                                        : std::vector{name + ".gz", name + ".GZ"};
}

Look LookAt(const std::string& root, const std::string& end_file) {
    Look look;
    std::vector<std::string> folders{""};
    while (!folders.empty()) {
        const auto folder = std::move(folders.back());
        folders.pop_back();
        const auto error = LookInto(folder, root, end_file, look, folders);
        if (error && folder.empty()) {
            throw std::system_error(error, root);
        }
        if (error && error != std::errc::no_such_file_or_directory) {
            look.left_out.emplace(folder, error.message());
            look.unreadable.push_back(folder);
        }
    }
    struct stat status {};
    if (::stat(root.c_str(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), root);
    }
    look.id = {status.st_dev, status.st_ino};
    std::sort(look.files.begin(), look.files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return look;
}

}  // namespace Live
