#pragma once

#include <cstdint>
#include <vector>

#include "qel_minimap2/index/from_mmi/index_layout.h"

namespace qel_minimap2 {

/// Copies the packed bases of a prebuilt index to `words`, IndexLayout::BaseWords() of them, on several threads. Throws
/// std::runtime_error when one is no base: minimap2 uses them to index its scoring matrix.
///
/// Returns where long runs of A lie: offsets of single bases inside them, a few hundred bases apart. An A is stored as
/// zero, so a copy of the file that stopped early on storage set aside for it ends in such a run. Real genomes have
/// next to none.
std::vector<std::uint64_t> CopyBases(const IndexLayout& layout, std::uint32_t* words);

}  // namespace qel_minimap2
