#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/file_descriptor.h"

namespace qel_minimap2 {

/// Throws std::runtime_error with the system's text for errno.
[[noreturn]] void FailForErrno();

/// A file that can be read at any offset. The file is not mapped, because a signal would end the process if another
/// program shortened a mapped file.
class StoredFile {
public:
    /// Throws std::runtime_error with the system's reason.
    explicit StoredFile(const std::string& path);
    StoredFile(const StoredFile&) = delete;
    StoredFile& operator=(const StoredFile&) = delete;
    virtual ~StoredFile() = default;

    /// The size in bytes when the file was opened.
    std::uint64_t Size() const { return size; }
    /// Reads `count` bytes from `offset` on; `offset + count` is at most Size(). Throws std::runtime_error if the file
    /// has become shorter or cannot be read. Any thread.
    virtual void Read(std::uint64_t offset, std::size_t count, void* target) const;
    /// Returns the first `count` bytes, or the complete content of a shorter file. Throws what Read throws.
    std::string Start(std::size_t count) const;

    /// Asks the system to load `count` bytes, beginning at `offset`, in the background. The system may ignore what
    /// exceeds half a megabyte. Any thread.
    void Prefetch(std::uint64_t offset, std::size_t count) const;

private:
    const Common::FileDescriptor descriptor;
    std::uint64_t size = 0;
};

/// Keeps one part of a file in memory. A call to At may replace this part with another. Not thread-safe.
class FileWindow {
public:
    /// Each read takes at least `chunk` bytes, or fewer if it reaches the `end` that At receives.
    FileWindow(const StoredFile& file, std::size_t chunk) : file(file), chunk(chunk) {}

    /// Returns the `count` bytes of the file from `offset` on, which are valid until the next call. Reads bytes after
    /// `end` only if they are among these. Throws what StoredFile::Read throws, and std::bad_alloc; the window must not
    /// be used after an exception.
    const unsigned char* At(std::uint64_t offset, std::size_t count, std::uint64_t end);

private:
    const StoredFile& file;
    const std::size_t chunk;
    std::vector<unsigned char> bytes;
    std::uint64_t begin = 0;  // Offset of `bytes` in the file.
};

}  // namespace qel_minimap2
