#pragma once

#include <cstdint>

#include <bseq.h>
#include <minimap.h>

namespace qel_minimap2 {

/// Returns what qelmm_cache_idx_occ_thres describes. Throws std::bad_alloc.
std::int32_t OccurrenceThreshold(const mm_idx_t& index);

/// Frees the working memory that no mapping uses. Any thread.
void FreeIdleBuffers();

/// Returns the records that qelmm_align describes. Throws std::bad_alloc, std::invalid_argument if the name in the
/// records would be empty or begin with '@', and std::runtime_error if the index turns out to be damaged. Any thread.
char* Align(const mm_idx_t& index, std::int32_t occ_threshold, const mm_bseq1_t& read);

}  // namespace qel_minimap2
