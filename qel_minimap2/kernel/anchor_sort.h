#pragma once

#include <cstddef>
#include <cstdint>

#include <minimap.h>

namespace qel_minimap2::kernel {

/// Sorts by x. Equal keys end up in the order in which minimap2's radix_sort_128x leaves them, which is not stable: the
/// order depends on its exchanges. Any thread.
void SortAnchors(mm128_t* begin, mm128_t* end);

/// The same for numbers whose upper half is the key.
void SortByUpperHalf(std::uint64_t* begin, std::uint64_t* end);

/// Sorts `count` numbers; `other` has room for as many. Numbers that differ only in their lowest `sorted_bits` bits
/// must already be in order.
void SortNumbers(std::uint64_t* numbers, std::uint64_t* other, std::size_t count, unsigned sorted_bits);

}  // namespace qel_minimap2::kernel
