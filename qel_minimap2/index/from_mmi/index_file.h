#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

/// True for a file that begins like a minimap2 index. Throws std::runtime_error when it cannot be read.
bool HasIndexMagic(const std::string& path);

/// Loads a prebuilt index on all cores. Checks everything that minimap2 uses unchecked and, on samples, that the index
/// was built from its sequences (see MinimizerSample). Throws std::runtime_error for an index that is cut or damaged,
/// has several parts, lacks its bases, holds a sequence without a name, or becomes shorter while it is read;
/// std::bad_alloc too. The checks cover a file that changes in other ways while it is read: it counts as damaged.
IndexPointer LoadIndexFile(const StoredFile& file);

}  // namespace qel_minimap2
