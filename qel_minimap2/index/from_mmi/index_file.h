#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

/// Returns whether a file begins like a minimap2 index. Throws std::runtime_error if the file cannot be read.
bool HasIndexMagic(const std::string& path);

/// Loads a prebuilt index in parallel. Checks everything that minimap2 uses unchecked and, by sampling, that the index
/// was built from its sequences (see MinimizerSample). Throws std::runtime_error if the file cannot be read, or the
/// index is truncated or damaged, has several parts, lacks its bases or has a name that FaultOfSequenceName refuses.
/// Throws std::bad_alloc too. The checks apply to the values in memory, so they are reliable even if another program
/// writes to the file meanwhile.
IndexPointer LoadIndexFile(const StoredFile& file);

}  // namespace qel_minimap2
