#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace qel_minimap2 {

/// A file in memory that all processes share, read-only. When another program shortens it, or the disk fails, an access
/// ends the process with status 1 and a line on standard error that names the file.
class MappedFile {
public:
    /// Throws std::runtime_error with the system's reason.
    explicit MappedFile(const std::string& path);
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    std::span<const unsigned char> Bytes() const { return bytes; }

private:
    std::span<const unsigned char> bytes;
};

}  // namespace qel_minimap2
