#pragma once

#include <string>

#include <minimap.h>

#include "qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// True for the options that IndexReference knows: k-mers of an odd number of bases up to 15, no homopolymer
/// compression.
bool CanIndexReference(const mm_idxopt_t& options);

/// Reads a reference and indexes it on all cores, as one part whatever its size, with a SeedTable. The index is the one
/// that the library makes: the same minimizers, positions, names and packed bases. `options.batch_size` and
/// `options.mini_batch_size` are of no account. Throws what ReadReference does, and std::bad_alloc.
///
/// It goes in three steps. The bases are read and packed. Pieces of them are sketched, all cores at a time, into
/// entries of 8 bytes that lie by blocks of buckets. Then block after block is gathered from all pieces, sorted and
/// laid into its part of the table, while the entries of blocks that are done are given back to the system.
IndexPointer IndexReference(const std::string& path, const mm_idxopt_t& options);

}  // namespace qel_minimap2
