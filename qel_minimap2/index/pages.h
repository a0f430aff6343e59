#pragma once

#include <cstddef>

namespace qel_minimap2 {

/// Zeroed memory in whole pages, which come from the system and return to it directly: an allocator would keep the
/// gigabytes that an index frees. Huge pages are not requested: with an index of 400 Mb in a virtual machine, they made
/// mapping some 4 % faster but loading twice as slow, because the machine took up to 6 ms to provide each.
class Pages {
public:
    Pages() = default;
    /// Throws std::bad_alloc.
    explicit Pages(std::size_t size);
    Pages(Pages&& other) noexcept;
    Pages& operator=(Pages&& other) noexcept;
    ~Pages();

    unsigned char* Data() const { return data; }
    /// Makes the system provide all pages now, which is faster than one by one at first use.
    void Touch() const;
    /// Returns the whole pages between the bytes `begin` and `end` to the system; they read as zeros afterwards. Any
    /// thread.
    void Release(std::size_t begin, std::size_t end) const;

private:
    unsigned char* data = nullptr;
    std::size_t size = 0;
};

}  // namespace qel_minimap2
