#pragma once

#include <string>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/index_pointer.h"
#include "qel_minimap2/index/index_sink.h"

namespace qel_minimap2 {

/// Reads a reference and indexes it in parallel, always as one part. The index has the same minimizers, positions,
/// names and packed bases as minimap2's. `options` must have windows of 1 to 255 k-mers, an odd k of at most 15 and no
/// flags, or std::invalid_argument is thrown. `options.batch_size` and `options.mini_batch_size` are ignored. Throws
/// what ReadReference throws, and std::bad_alloc.
///
/// Indexing has three steps. The first reads and packs the bases. The second sketches pieces of the bases into entries,
/// sorted by block. The third gathers each block's entries from all pieces, sorts them and fills the block's part of
/// the table; meanwhile, the memory of finished blocks' entries returns to the system.
IndexPointer IndexReference(const std::string& path, const mm_idxopt_t& options);

/// Indexes a reference in the same way, but passes the index to `sink` block by block, and returns the sequences. Also
/// throws what `sink` throws.
std::vector<ReferenceSequence> IndexReference(const std::string& path, const mm_idxopt_t& options, IndexSink& sink);

}  // namespace qel_minimap2
