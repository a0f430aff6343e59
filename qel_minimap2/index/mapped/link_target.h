#pragma once

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

namespace qel_minimap2 {

/// Follows the symbolic link `path` and all further links, and returns the final path, whether or not a file exists
/// there. If `path` is not a link, returns it unchanged. If a link cannot be read, or if there are too many links, sets
/// `error` and returns the path reached so far.
inline std::string LinkTarget(const std::string& path, std::error_code& error) {
    constexpr int kMostLinks = 40;  // Linux has the same limit.
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
