#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Live {

/// The name of the folder in which a live run hides files, inside its output folder.
inline constexpr char kHiddenFolder[] = ".live";

/// The size, modification time and inode of a file. A change that keeps size and time is not noticed.
struct Stamp {
    std::uint64_t size = 0;  ///< Bytes.
    std::int64_t time = 0;   ///< Time of the last modification, in nanoseconds since 1970.
    std::uint64_t inode = 0;

    /// Inodes are not compared: some network file systems renumber files.
    bool SameContent(const Stamp& other) const { return size == other.size && time == other.time; }
};

/// Throws std::system_error if there is no such file.
Stamp StampOf(const std::string& path);

/// The names that a read file may have after it has been compressed or decompressed.
std::vector<std::string> OtherFormsOf(const std::string& name);

/// A read file below the watched folder.
struct FoundFile {
    std::string name;  ///< Path relative to the watched folder.
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
    std::map<std::string, std::string> left_out;  ///< Files and folders that cannot be used, each with the reason.
    std::vector<std::string> unreadable;          ///< The folders among the names in `left_out`.
    bool end_file = false;                        ///< Whether the file that ends the run exists.
    FolderId id;
};

/// Finds the regular files with the extension of a read file, plain or followed by ".gz", in the folder and all folders
/// below it. Skips folders named kHiddenFolder. Links to files count as files; links to folders are not followed.
/// `end_file`: the name of the file that ends the run, in any of these folders; empty if there is none. A folder of
/// this name does not end the run. Throws std::system_error if the folder itself cannot be listed.
Look LookAt(const std::string& folder, const std::string& end_file);

}  // namespace Live
