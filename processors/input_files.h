#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Tavik {

/// The read files of a folder.
struct InputFiles {
    std::vector<std::string> plain;  ///< Paths, in the order of the folder walk.
    std::size_t compressed = 0;      ///< Gzip-compressed read files; a folder's are left alone.
};

/// Lists the regular files with a read file's extension in `folder`, `recursive` in the folders below it too.
/// Throws the file system's error, which names the folder, when one of them cannot be listed. Warns of each link to
/// nowhere, and of other entries that cannot be looked at, whose name is that of a read file.
InputFiles FindReadFiles(const std::string& folder, bool recursive);

}  // namespace Tavik
