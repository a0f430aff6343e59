#pragma once

#include <string>

#include <sys/stat.h>

namespace Common {

/// The name of an environment variable with the FileIdentity of an index whose content has been checked already, so
/// that each of many processes need not check it again.
inline constexpr char kCheckedIndex[] = "QEL_CHECKED_INDEX";

/// Differs between the files of a machine, and changes with each write to a file: the time of the last change cannot be
/// set back.
inline std::string FileIdentity(const struct stat& status) {
    std::string identity;
    for (const auto number : {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
                              static_cast<long long>(status.st_size), static_cast<long long>(status.st_ctim.tv_sec),
                              static_cast<long long>(status.st_ctim.tv_nsec)}) {
        identity += std::to_string(number) + ':';
    }
    return identity;
}

}  // namespace Common
