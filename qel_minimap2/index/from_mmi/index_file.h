#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

/// Returns whether a file begins like a minimap2 index. Throws std::runtime_error if the file cannot be read.
bool HasIndexMagic(const std::string& path);

/// Loads a prebuilt index on all cores. Checks everything that minimap2 uses unchecked and, on samples, that the index
/// was built from its sequences (see MinimizerSample). Throws std::runtime_error for an index that is truncated or
/// damaged, has several parts, lacks its bases, has a name that FaultOfSequenceName refuses, or becomes shorter while
/// it is read. Throws std::bad_alloc too. The checks apply to the values in memory, so they are reliable even if
/// another program writes to the file meanwhile.
IndexPointer LoadIndexFile(const StoredFile& file);

}  // namespace qel_minimap2
