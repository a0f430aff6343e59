#pragma once

#include <string>

#include <sys/stat.h>

namespace Common {

/// The environment variable that contains the FileIdentity of an index whose content has already been checked, so that
/// other processes need not check it again.
inline constexpr char kCheckedIndex[] = "QEL_CHECKED_INDEX";

/// Returns a text that is different for each file on a machine and changes when the file is written to. A second write
/// within one tick of the system's clock may leave the text unchanged. The text contains the time of the last status
/// change, which programs cannot set back.
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
