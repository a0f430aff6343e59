#pragma once

#include <cstddef>

namespace qel_minimap2 {

/// Zeroed memory of whole pages, taken from the system and given back to it directly: an allocator would keep the
/// gigabytes that an index gives up. Large pages are asked for: with small ones nearly each look-up in a large index
/// misses the processor's cache of page addresses.
class Pages {
public:
    Pages() = default;
    /// Throws std::bad_alloc.
    explicit Pages(std::size_t size);
    Pages(Pages&& other) noexcept;
    Pages& operator=(Pages&& other) noexcept;
    ~Pages();

    unsigned char* Data() const { return data; }
    /// Gives back the whole pages among the bytes from `begin` to `end`, which are zeros then. Any thread.
    void Release(std::size_t begin, std::size_t end) const;

private:
    unsigned char* data = nullptr;
    std::size_t size = 0;
};

/// Gives back the memory of the whole pages from `begin` to `end`, counted from `data`, where a page begins.
void ReleasePages(unsigned char* data, std::size_t begin, std::size_t end);

}  // namespace qel_minimap2
