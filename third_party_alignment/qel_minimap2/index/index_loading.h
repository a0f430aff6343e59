#pragma once

#include "third_party_alignment/qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// See qelmm_load_index; throws std::runtime_error with the reason instead of printing it.
IndexPointer LoadIndex(const char* path);

}  // namespace qel_minimap2
