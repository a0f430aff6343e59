#pragma once

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

namespace qel_minimap2 {

/// Where the symbolic link `path` leads over all further links, whether or not there is a file; a path that is no link
/// stays as it is. `error` receives the system's reason if a link cannot be read or there are too many.
inline std::string LinkTarget(const std::string& path, std::error_code& error) {
    constexpr int kMostLinks = 40;  // As many as Linux follows.
    std::filesystem::path target = path;
    std::error_code unknown;
    error.clear();
    for (int links = 0; std::filesystem::is_symlink(std::filesystem::symlink_status(target, unknown)); ++links) {
        if (links == kMostLinks) {
            error = std::error_code(ELOOP, std::generic_category());
            break;
        }
        const auto next = std::filesystem::read_symlink(target, error);
        if (error) {
            break;
        }
        target = target.parent_path() / next;
    }
    return target.string();
}

}  // namespace qel_minimap2
