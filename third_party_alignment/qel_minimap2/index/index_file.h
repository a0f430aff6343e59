#pragma once

#include <string>

#include "third_party_alignment/qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// True when the file begins as a minimap2 index does. Throws std::runtime_error when it cannot be read.
bool HasIndexMagic(const std::string& path);

/// Walks the structure of a prebuilt index (version 2: header, names and lengths, buckets, packed bases)
/// against the size of the file and checks every count, position and offset that minimap2 would follow
/// without a look. Throws std::runtime_error for an index that is cut or damaged, has several parts, lacks
/// its bases or holds a sequence without a name. The file must not change until it is loaded.
void CheckIndexFile(const std::string& path);

/// Checks as CheckIndexFile does and loads on the way, with a SeedTable in the place of the library's hash tables.
/// Null, all checks passed, for an index whose minimizers do not fit that. Throws std::bad_alloc too.
IndexPointer LoadIndexFile(const std::string& path);

}  // namespace qel_minimap2
