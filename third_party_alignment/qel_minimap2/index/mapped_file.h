#pragma once

#include <cstddef>
#include <string>

namespace qel_minimap2 {

/// A file's content in memory, to be read once from front to back.
class MappedFile {
public:
    /// Throws std::runtime_error with the system's reason.
    explicit MappedFile(const std::string& path);
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    const unsigned char* Data() const { return data; }
    /// In bytes.
    std::size_t Size() const { return size; }

    /// Lets go of the memory that what was read so far takes; reading it again brings it back.
    void Release() { ReleaseFrom(0, size); }
    /// The same for what lies before `position`, from time to time.
    void ReleaseBefore(const unsigned char* position);

private:
    void ReleaseFrom(std::size_t begin, std::size_t end) const;

    unsigned char* data = nullptr;
    std::size_t size = 0;
    std::size_t released = 0;  // Bytes at the start that ReleaseBefore is done with.
};

}  // namespace qel_minimap2
