#pragma once

#include <string>

#include "qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// Loads an index as qelmm_load_index does, but throws std::runtime_error with the reason instead of printing it.
/// Throws std::bad_alloc too. `options`: see IndexReference; used only for a FASTA or FASTQ file.
IndexPointer LoadIndex(const std::string& path, const mm_idxopt_t& options);

/// Makes a file as qelmm_make_index does, but throws std::runtime_error with the message instead of returning it.
void MakeIndexFile(const std::string& reference, const mm_idxopt_t& options, const std::string& path);

}  // namespace qel_minimap2
