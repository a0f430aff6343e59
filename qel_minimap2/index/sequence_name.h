#pragma once

#include <string_view>

namespace qel_minimap2 {

/// What is wrong with a reference sequence of this name, in words that follow "holds", or null when SAM can
/// bear the name: a record's third column is separated by tabs, and "*" there says that the read is unmapped.
const char* FaultOfSequenceName(std::string_view name);

}  // namespace qel_minimap2
