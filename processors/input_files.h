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

/// Lists the regular files in `folder` that have the extension of a read file; if `recursive`, also those in its
/// sub-folders. Throws boost::filesystem::filesystem_error, which names the folder, if a folder cannot be listed. Logs
/// a warning about each entry that has the extension of a read file but is inaccessible, such as a dangling link.
InputFiles FindReadFiles(const std::string& folder, bool recursive);

}  // namespace Tavik
