#pragma once

#include <string>

namespace qel_minimap2 {

/// True when the file begins as a minimap2 index does. Throws std::runtime_error when it cannot be read.
bool HasIndexMagic(const std::string& path);

/// Walks the structure of a prebuilt index (version 2: header, names and lengths, buckets, packed bases)
/// against the size of the file and checks every count, position and offset that minimap2 would follow
/// without a look. Throws std::runtime_error for an index that is cut or damaged, has several parts, lacks
/// its bases or holds a sequence without a name. It reads the file once; the file must not change until it is
/// loaded.
void CheckIndexFile(const std::string& path);

}  // namespace qel_minimap2
