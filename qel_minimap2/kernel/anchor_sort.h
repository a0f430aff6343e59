#pragma once

#include <cstddef>
#include <cstdint>

#include <minimap.h>

namespace qel_minimap2::kernel {

/// Sorts by x. Leaves anchors with equal x in the same order as minimap2's radix_sort_128x, which is not stable. Any
/// thread.
void SortAnchors(mm128_t* begin, mm128_t* end);

/// Sorts numbers by their upper 32 bits in the same way as SortAnchors. Any thread.
void SortByUpperHalf(std::uint64_t* begin, std::uint64_t* end);

/// Sorts `count` numbers. `other` is scratch memory for `count` numbers. Numbers that differ only in their lowest
/// `sorted_bits` bits must already be in order. Any thread.
void SortNumbers(std::uint64_t* numbers, std::uint64_t* other, std::size_t count, unsigned sorted_bits);

}  // namespace qel_minimap2::kernel
