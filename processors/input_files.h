#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Tavik {

/// The read files of a folder.
struct InputFiles {
    std::vector<std::string> plain;  ///< Paths, in the order of the directory iterator.
    std::size_t compressed = 0;      ///< Number of gzip-compressed read files, which are not processed.
};

/// Lists the regular files in `folder` with the extension of a read file; if `recursive`, also those in the folders
/// below it. Throws the file system's error, with the folder's name, when a folder cannot be listed. Warns of each
/// entry that is named like a read file but has no readable status, such as a dangling link.
InputFiles FindReadFiles(const std::string& folder, bool recursive);

}  // namespace Tavik
