#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/file_descriptor.h"

namespace qel_minimap2 {

/// Throws std::runtime_error with the system's reason for the last failure.
[[noreturn]] void FailForErrno();

/// A file that is read at any offset. It is not mapped: when another program shortens a mapped file, a signal ends the
/// process.
class StoredFile {
public:
    /// Throws std::runtime_error with the system's reason.
    explicit StoredFile(const std::string& path);
    StoredFile(const StoredFile&) = delete;
    StoredFile& operator=(const StoredFile&) = delete;
    virtual ~StoredFile() = default;

    /// In bytes, at the time it was opened.
    std::uint64_t Size() const { return size; }
    /// Reads `count` bytes from `offset` on, all of them below Size(). Throws std::runtime_error when the file has
    /// become too short for that, or with the system's reason. Any thread.
    virtual void Read(std::uint64_t offset, std::size_t count, void* target) const;
    /// The first `count` bytes, or all of a shorter file. Throws as Read does.
    std::string Start(std::size_t count) const;

    /// Asks the system to load `count` bytes from `offset` on in the background, at most half a megabyte. Any thread.
    void Prefetch(std::uint64_t offset, std::size_t count) const;

private:
    const Common::FileDescriptor descriptor;
    std::uint64_t size = 0;
};

/// A part of a file in memory, which moves forward. One thread.
class FileWindow {
public:
    /// Reads at least `chunk` bytes at a time, where the file has them.
    FileWindow(const StoredFile& file, std::size_t chunk) : file(file), chunk(chunk) {}

    /// The `count` bytes of the file from `offset` on, valid until the next call. Never reads ahead beyond `end`.
    /// Throws as StoredFile::Read does, and std::bad_alloc; the window must not be used afterwards.
    const unsigned char* At(std::uint64_t offset, std::size_t count, std::uint64_t end);

private:
    const StoredFile& file;
    const std::size_t chunk;
    std::vector<unsigned char> bytes;
    std::uint64_t begin = 0;  // Where these bytes begin in the file.
};

}  // namespace qel_minimap2
