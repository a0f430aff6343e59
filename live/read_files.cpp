#include "live/read_files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>

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

}  // namespace

Stamp StampOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return StampOf(status);
}

Look LookAt(const std::string& folder, const std::string& left_out, const std::string& end_file) {
    Look look;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, error);
    std::string last = folder;
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const auto& path = entry->path();
        last = path.string();
        const auto name = path.filename().string();
        look.end_file = look.end_file || (!end_file.empty() && name == end_file);
        const bool is_read_file = Common::HasReadFileExtension(name) || Common::HasCompressedReadFileExtension(name);
        struct stat status {};
        const bool is_known = is_read_file && ::stat(path.c_str(), &status) == 0;
        if (is_known && S_ISREG(status.st_mode)) {
            look.files.push_back({path.lexically_relative(folder).string(), StampOf(status)});
        } else if (is_read_file && ::lstat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
            look.unusable.push_back(path.lexically_relative(folder).string());
        }
        std::error_code unknown;
        if (name == fs::path(left_out).filename() && fs::equivalent(path, left_out, unknown)) {
            entry.disable_recursion_pending();
        }
    }
    if (error) {
        throw std::system_error(error, last);
    }
    std::sort(look.files.begin(), look.files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return look;
}

}  // namespace Live
