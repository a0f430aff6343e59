#pragma once

#include <string>

#include <minimap.h>

namespace qel_minimap2 {

/// See qelmm_write_index; throws std::runtime_error with the reason instead of returning it, and std::bad_alloc. Needs
/// little memory besides the index.
void WriteIndex(const mm_idx_t& index, const std::string& path);

}  // namespace qel_minimap2
