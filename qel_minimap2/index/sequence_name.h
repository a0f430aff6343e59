#pragma once

#include <string_view>

namespace qel_minimap2 {

/// Why a reference sequence cannot have this name in a SAM file, in words that follow "holds", or null if it can. Tabs
/// separate the columns of a record, and "*" in the third one marks an unmapped read.
const char* FaultOfSequenceName(std::string_view name);

}  // namespace qel_minimap2
