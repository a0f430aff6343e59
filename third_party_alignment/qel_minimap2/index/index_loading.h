#pragma once

#include "third_party_alignment/qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// See qelmm_load_index; throws std::runtime_error with the reason instead of printing it. `with_seed_table`: whether a
/// SeedTable may take the place of the library's hash tables, and own indexing that of the library's.
IndexPointer LoadIndex(const char* path, bool with_seed_table);

}  // namespace qel_minimap2
