#pragma once

#include <cstddef>
#include <cstdint>

#include <minimap.h>

namespace qel_minimap2::kernel {

/// Sorts by x into the very order that the library's radix_sort_128x leaves, equal keys included, though its order of
/// equal keys is neither theirs before nor any rule but the course of its own exchanges. Any thread.
void SortAnchors(mm128_t* begin, mm128_t* end);

/// Sorts `count` numbers, using room for as many more at `other`. Numbers equal but for their lowest `sorted_bits` must
/// come in sorted.
void SortNumbers(std::uint64_t* numbers, std::uint64_t* other, std::size_t count, unsigned sorted_bits);

}  // namespace qel_minimap2::kernel
