#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/mapped/index_format.h"

namespace qel_minimap2 {

/// True for a file that begins as WriteIndex begins files. Throws std::runtime_error when it cannot be read.
bool HasMappedMagic(const std::string& path);

/// Maps an index that WriteIndex wrote, on all cores. All bytes are compared with their checksums. Throws
/// std::runtime_error for an index that is damaged or not for this machine or version, and std::bad_alloc.
IndexPointer MapIndex(const std::string& path);

/// The header of such a file, checked as MapIndex does.
FileHeader HeaderOf(const std::string& path);

/// See qelmm_check_index; throws std::runtime_error with the reason instead of returning it, and std::bad_alloc.
void CheckIndex(const std::string& path);

}  // namespace qel_minimap2
