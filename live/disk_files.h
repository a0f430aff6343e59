#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Live {

// Files that survive a power failure. All functions throw a std::system_error that names the file.

std::string ReadFile(const std::string& path);

/// Replaces the file in one step: readers see the old content or the new one, even after a power failure.
void ReplaceFile(const std::string& path, std::string_view text);

/// Writes a file, and waits until it is on the disk.
void WriteFile(const std::string& path, std::string_view text);

/// Opens a file with the flags of open(2), and O_CLOEXEC; new files get mode 0666 without the umask.
int OpenFile(const std::string& path, int flags);

/// Writes at a position. `path` is for messages.
void WriteAt(int descriptor, std::string_view text, std::uint64_t position, const std::string& path);

/// Waits until a file, or the names in a folder, are on the disk.
void Sync(const std::string& path);

/// Waits until everything that any program has written to this folder's disk is on it. Returns false if that is not
/// certain.
bool SyncDisk(const std::string& folder);

void Rename(const std::string& from, const std::string& to);

std::uint64_t SizeOf(const std::string& path);

/// True if the error means that the disk, or the user's share of it, is full.
bool IsDiskFull(int error);

/// True if this number of bytes, and a few more, can be written to the folder.
bool HasRoom(const std::string& folder, std::uint64_t bytes);

}  // namespace Live
