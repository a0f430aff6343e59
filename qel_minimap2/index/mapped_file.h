#pragma once

#include <cstddef>
#include <string>

namespace qel_minimap2 {

/// A file's content in memory, of which each part is read once.
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

    /// Gives back the memory of the whole pages between `begin` and `end`; reading there again loads them again. Any
    /// thread.
    void Release(const unsigned char* begin, const unsigned char* end) const;

private:
    unsigned char* data = nullptr;
    std::size_t size = 0;
};

}  // namespace qel_minimap2
