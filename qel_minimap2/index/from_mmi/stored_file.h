#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/file_descriptor.h"

namespace qel_minimap2 {

/// A file that is read at any place. It is copied from, not mapped: a mapped file that another program cuts meanwhile
/// ends the process by a signal.
class StoredFile {
public:
    /// Throws std::runtime_error with the system's reason.
    explicit StoredFile(const std::string& path);
    StoredFile(const StoredFile&) = delete;
    StoredFile& operator=(const StoredFile&) = delete;
    virtual ~StoredFile() = default;

    /// In bytes, when it was opened.
    std::uint64_t Size() const { return size; }
    /// Copies `count` bytes from `offset` on, all of them below Size(). Throws std::runtime_error when the file has
    /// become too short for that, or with the system's reason. Any thread.
    virtual void Read(std::uint64_t offset, std::size_t count, void* target) const;

    /// Has the system load the `count` bytes from `offset` on, while others are read; at most half a megabyte. Any
    /// thread.
    void Prefetch(std::uint64_t offset, std::size_t count) const;

private:
    const Common::FileDescriptor descriptor;
    std::uint64_t size = 0;
};

/// A stretch of a file in memory, which moves forward. One thread.
class FileWindow {
public:
    /// Reads at least `chunk` bytes at a time, where the file has them.
    FileWindow(const StoredFile& file, std::size_t chunk) : file(file), chunk(chunk) {}

    /// The `count` bytes of the file from `offset` on, valid until the next call. Bytes from `end` on are not read
    /// before they are asked for. Throws as StoredFile::Read does, and std::bad_alloc.
    const unsigned char* At(std::uint64_t offset, std::size_t count, std::uint64_t end);

private:
    const StoredFile& file;
    const std::size_t chunk;
    std::vector<unsigned char> bytes;
    std::uint64_t begin = 0, filled = 0;  // Which bytes of the file these are.
};

}  // namespace qel_minimap2
