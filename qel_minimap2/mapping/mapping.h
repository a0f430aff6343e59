#pragma once

#include <cstdint>

#include <bseq.h>
#include <minimap.h>

namespace qel_minimap2 {

/// See qelmm_cache_idx_occ_thres.
std::int32_t OccurrenceThreshold(const mm_idx_t& index);

/// Frees the working memory that no mapping uses.
void FreeIdleBuffers();

/// See qelmm_align. Throws std::bad_alloc, std::invalid_argument for a name that SAM does not allow, and
/// std::runtime_error when the index turns out to be damaged.
char* Align(const mm_idx_t& index, std::int32_t occ_threshold, const mm_bseq1_t& read);

}  // namespace qel_minimap2
