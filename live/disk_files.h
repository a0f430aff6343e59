#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Live {

// File operations. Unless stated otherwise, a function that fails throws a std::system_error that names the file.

std::string ReadFile(const std::string& path);

/// Replaces the content of a file in one step: readers see the old content or the new one, even after a power failure.
void ReplaceFile(const std::string& path, std::string_view text);

/// Writes a file and waits until its content is on the disk.
void WriteFile(const std::string& path, std::string_view text);

/// Opens a file with the flags of open(2) and O_CLOEXEC. The mode of a new file is 0666, restricted by the umask. The
/// caller closes the descriptor.
int OpenFile(const std::string& path, int flags);

/// Writes `text` from byte `position` on. `path`: the name of the file in errors.
void WriteAt(int descriptor, std::string_view text, std::uint64_t position, const std::string& path);

/// Waits until a file's content, or a folder's list of names, is on the disk.
void Sync(const std::string& path);

/// Waits until all data that programs have written to the folder's file system are on the disk. Returns false if
/// syncfs(2) fails.
bool SyncDisk(const std::string& folder);

void Rename(const std::string& from, const std::string& to);

std::uint64_t SizeOf(const std::string& path);

/// True if `error`, a value of errno, means that the disk or the user's quota is full.
bool IsDiskFull(int error);

/// False if the folder's disk has fewer than `bytes` bytes free, or if the disk or the user's quota is too full for a
/// test file. The test file has `bytes` bytes, but at least 64 KiB and at most 1 MiB. True in all other cases, even if
/// the test fails for another reason.
bool HasRoom(const std::string& folder, std::uint64_t bytes);

}  // namespace Live
