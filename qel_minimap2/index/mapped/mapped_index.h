#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/mapped/index_format.h"

namespace qel_minimap2 {

/// Returns whether a file begins like those that IndexWriter writes. Throws std::runtime_error if the file cannot be
/// read.
bool HasMappedMagic(const std::string& path);

/// Maps an index that IndexWriter wrote. Compares all bytes with their checksums in parallel, unless the environment
/// variable Common::kCheckedIndex identifies the file as already checked. Throws std::bad_alloc, and throws
/// std::runtime_error if the file cannot be read, or if the index
///
/// - is damaged;
/// - has a name that FaultOfSequenceName refuses;
/// - was made for another byte order, a later version of the format or another version of minimap2.
IndexPointer MapIndex(const std::string& path);

/// Returns the header of an index that IndexWriter wrote. Checks the header as MapIndex does, and throws the same
/// exceptions.
FileHeader HeaderOf(const std::string& path);

/// Checks an index as qelmm_check_index does, but throws std::runtime_error with the reason instead of returning it.
/// Throws std::bad_alloc too.
void CheckIndex(const std::string& path);

}  // namespace qel_minimap2
