#pragma once

#include <minimap.h>

namespace qel_minimap2 {

/// Finds out whether a loaded prebuilt index is about the sequences it holds: samples them, computes their
/// minimizers anew and looks them up. A wrong window, k-mer size, homopolymer flag or sequence length makes
/// an index that loads and maps, but badly, and no walk of its structure shows that. Throws
/// std::runtime_error. Single damaged minimizers between sound ones stay unseen: the format has no checksum.
/// Takes milliseconds.
void CheckMinimizers(const mm_idx_t& index);

}  // namespace qel_minimap2
