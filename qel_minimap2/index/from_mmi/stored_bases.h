#pragma once

#include <cstdint>
#include <vector>

#include "qel_minimap2/index/from_mmi/index_layout.h"

namespace qel_minimap2 {

/// Copies the packed bases of a prebuilt index to `words`, IndexLayout::BaseWords() of them, on several threads. Throws
/// std::runtime_error for an impossible code of a base.
///
/// Returns offsets of bases in long runs of A, a few hundred bases apart. An A is stored as zero, so a copy that
/// stopped early, after space for the whole file was allocated, ends in such a run. Real genomes have hardly any.
std::vector<std::uint64_t> CopyBases(const IndexLayout& layout, std::uint32_t* words);

}  // namespace qel_minimap2
