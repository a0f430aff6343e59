#pragma once

#include <string>

#include "qel_minimap2/index/from_mmi/stored_file.h"
#include "qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// True when the file begins as a minimap2 index does. Throws std::runtime_error when it cannot be read.
bool HasIndexMagic(const std::string& path);

/// Loads a prebuilt index on all cores and checks everything that minimap2 uses unchecked, and on samples that it is an
/// index of its sequences (see MinimizerSample). Throws std::runtime_error for one that is cut or damaged, has several
/// parts, lacks its bases or holds a sequence without a name, and for one that becomes shorter meanwhile;
/// std::bad_alloc too. What else changes in the file meanwhile is checked as a damaged file is.
IndexPointer LoadIndexFile(const std::string& path);
IndexPointer LoadIndexFile(const StoredFile& file);

}  // namespace qel_minimap2
