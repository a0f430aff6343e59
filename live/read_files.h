#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Live {

/// What a live run hides in its output folder.
inline constexpr char kHiddenFolder[] = ".live";

/// What shows that a file has changed.
struct Stamp {
    std::uint64_t size = 0;  ///< Bytes.
    std::int64_t time = 0;   ///< Of the last change, in nanoseconds.
    std::uint64_t inode = 0;

    /// Inodes are not compared: some network file systems renumber files.
    bool SameContent(const Stamp& other) const { return size == other.size && time == other.time; }
};

/// Throws std::system_error.
Stamp StampOf(const std::string& path);

/// A read file below the watched folder.
struct FoundFile {
    std::string name;  ///< Its path, relative to the folder.
    Stamp stamp;
};

/// Differs between a folder on which a disk is mounted and the same folder without the disk.
struct FolderId {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const FolderId&) const = default;
};

/// One look at the watched folder.
struct Look {
    std::vector<FoundFile> files;                 ///< Sorted by name.
    std::map<std::string, std::string> left_out;  ///< Names of what cannot be used, such as dangling links, and why.
    std::vector<std::string> unreadable;          ///< Those of them that are folders.
    bool end_file = false;                        ///< The file that ends the run is there.
    FolderId id;                                  ///< Of the folder.
};

/// Finds the regular files with the ending of a read file, or with such an ending and ".gz", in the folder and all
/// folders below it, except in folders with the name kHiddenFolder. Links to files count as files. Throws
/// std::system_error if the folder itself cannot be listed.
Look LookAt(const std::string& folder, const std::string& end_file);

}  // namespace Live
