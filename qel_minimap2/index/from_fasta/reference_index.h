#pragma once

#include <string>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/index_sink.h"

namespace qel_minimap2 {

/// Reads a reference and indexes it on all cores, as one part whatever its size. The index has the minimizers,
/// positions, names and packed bases of the one that minimap2 makes. `options`: windows of up to 255 k-mers, an odd k
/// of at most 15 and no homopolymer compression, as in the preset; throws std::invalid_argument for others.
/// `options.batch_size` and `options.mini_batch_size` are ignored. Throws what ReadReference does, and std::bad_alloc.
///
/// There are three steps. The bases are read and packed. All cores sketch pieces of them into entries, sorted by block.
/// Then each block gathers its entries from all pieces, sorts them and fills its part of the table; the memory of the
/// entries of finished blocks returns to the system meanwhile.
IndexPointer IndexReference(const std::string& path, const mm_idxopt_t& options);

/// Gives the same index to `sink` instead, block by block, and returns its sequences. Throws what `sink` throws, too.
std::vector<ReferenceSequence> IndexReference(const std::string& path, const mm_idxopt_t& options, IndexSink& sink);

}  // namespace qel_minimap2
