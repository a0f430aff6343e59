#pragma once

#include <cstddef>

namespace qel_minimap2 {

/// Zeroed memory of whole pages, taken from the system and given back to it directly: an allocator would keep the
/// gigabytes that an index gives up. Large pages are not asked for: measured with an index of 400 Mb in a virtual
/// machine, they made mapping some 4 % faster, but loading twice as slow, since the machine took up to 6 ms to come by
/// each.
class Pages {
public:
    Pages() = default;
    /// Throws std::bad_alloc.
    explicit Pages(std::size_t size);
    Pages(Pages&& other) noexcept;
    Pages& operator=(Pages&& other) noexcept;
    ~Pages();

    unsigned char* Data() const { return data; }
    /// Has the system give all pages now, which takes less time than one at a time when they are used.
    void Touch() const;
    /// Gives back the whole pages among the bytes from `begin` to `end`, which are zeros then. Any thread.
    void Release(std::size_t begin, std::size_t end) const;

private:
    unsigned char* data = nullptr;
    std::size_t size = 0;
};

}  // namespace qel_minimap2
