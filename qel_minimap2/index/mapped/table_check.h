#pragma once

#include "qel_minimap2/index/mapped/mapped_layout.h"

namespace qel_minimap2 {

/// Checks every minimizer and position of a table, in parallel. Call after MappedLayout::CheckContent. Throws
/// std::runtime_error for a damaged table, and std::bad_alloc.
void CheckTable(const MappedLayout& layout);

}  // namespace qel_minimap2
