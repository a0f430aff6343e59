#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// See qelmm_load_index; throws std::runtime_error with the reason instead of printing it. `options`: how a reference
/// is indexed, see IndexReference.
IndexPointer LoadIndex(const std::string& path, const mm_idxopt_t& options);

/// See qelmm_make_index; throws std::runtime_error with the message instead of returning it.
void MakeIndexFile(const std::string& reference, const mm_idxopt_t& options, const std::string& path);

}  // namespace qel_minimap2
