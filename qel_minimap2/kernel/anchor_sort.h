#pragma once

#include <cstddef>
#include <cstdint>

#include <minimap.h>

namespace qel_minimap2::kernel {

/// Sorts by x. Equal keys come out in the same order as from the library's radix_sort_128x, which is not stable: that
/// order depends on the exchanges it makes. Any thread.
void SortAnchors(mm128_t* begin, mm128_t* end);

/// Sorts `count` numbers, using room for as many more at `other`. Numbers equal but for their lowest `sorted_bits` must
/// come in sorted.
void SortNumbers(std::uint64_t* numbers, std::uint64_t* other, std::size_t count, unsigned sorted_bits);

}  // namespace qel_minimap2::kernel
