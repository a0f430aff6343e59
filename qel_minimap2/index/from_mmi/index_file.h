#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

/// Returns whether a file begins like a minimap2 index. Throws std::runtime_error if the file cannot be read.
bool HasIndexMagic(const std::string& path);

/// Loads a prebuilt index in parallel. Checks everything that minimap2 uses unchecked. Also checks, by sampling, that
/// the index was built from its sequences (see MinimizerSample). The checks apply to the values in memory, because
/// another program may write to the file meanwhile. Throws std::bad_alloc, and throws std::runtime_error if the file
/// cannot be read, or if the index
///
/// - is truncated or damaged;
/// - has several parts;
/// - lacks its bases;
/// - has a name that FaultOfSequenceName refuses.
IndexPointer LoadIndexFile(const StoredFile& file);

}  // namespace qel_minimap2
