#pragma once

#include "qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// See qelmm_load_index; throws std::runtime_error with the reason instead of printing it. `with_seed_table`: whether a
/// SeedTable may take the place of the library's hash tables, and own indexing that of the library's. `options`: for a
/// reference that is to be indexed, which is always done in one part, whatever they say of parts.
IndexPointer LoadIndex(const char* path, bool with_seed_table, const mm_idxopt_t& options);

}  // namespace qel_minimap2
