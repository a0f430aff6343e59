#pragma once

#include <cstdint>

#include <bseq.h>
#include <minimap.h>

namespace qel_minimap2 {

/// See qelmm_cache_idx_occ_thres. The value is kept for calls of Align that do not know it.
std::int32_t OccurrenceThreshold(const mm_idx_t& index);

/// Drops what is kept about an index that goes away, and idle mapping memory with it.
void ForgetIndex(const mm_idx_t& index);

/// See qelmm_align. Throws std::bad_alloc, and std::invalid_argument for a name that SAM cannot bear.
char* Align(const mm_idx_t& index, std::int32_t occ_threshold, const mm_bseq1_t& read);

}  // namespace qel_minimap2
