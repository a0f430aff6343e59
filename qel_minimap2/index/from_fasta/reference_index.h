#pragma once

#include <string>

#include <minimap.h>

#include "qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// Reads a reference and indexes it on all cores, as one part whatever its size. The index has the minimizers,
/// positions, names and packed bases of the one that minimap2 makes. Takes windows of up to 255 k-mers of an odd number
/// of bases up to 15 without homopolymer compression, which the preset has; throws std::invalid_argument for others.
/// `options.batch_size` and `options.mini_batch_size` are ignored. Throws what ReadReference does, and std::bad_alloc.
///
/// It goes in three steps. The bases are read and packed. Pieces of them are sketched, all cores at a time, into
/// entries of 8 bytes that lie by blocks of buckets. Then block after block is gathered from all pieces, sorted and
/// laid into its part of the table, while the entries of blocks that are done are given back to the system.
IndexPointer IndexReference(const std::string& path, const mm_idxopt_t& options);

}  // namespace qel_minimap2
