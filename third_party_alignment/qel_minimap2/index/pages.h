#pragma once

#include <cstddef>

namespace qel_minimap2 {

/// Zeroed memory of whole pages, straight from the system and straight back to it: what an index of gigabytes lets go
/// of must not stay with the allocator. Large pages are asked for, since hardly a look-up in such an index finds its
/// page's address in the processor.
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
