#pragma once

#include "qel_minimap2/index/mapped/mapped_layout.h"

namespace qel_minimap2 {

/// Checks the table of a layout whose content was checked, to its last position, on all cores. Throws
/// std::runtime_error for a table that is not as SeedTable::Fill makes it, and std::bad_alloc.
void CheckTable(const MappedLayout& layout);

}  // namespace qel_minimap2
