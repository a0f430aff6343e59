#pragma once

#include <cstddef>
#include <cstdint>

namespace qel_minimap2::kernel {

/// The uses of scratch buffers. Each thread has one buffer for each use.
enum class Scratch {
    sequences,     ///< Copies of a call's sequences.
    lines,         ///< The lines of a row, or what CountBreaks compares.
    scores,        ///< The scores of a row's cells.
    way_back,      ///< What the traceback reads: directions, stored cells, or copies of the difference lines.
    copy_offsets,  ///< The offset of each copy of the difference lines.
    runs,          ///< The CIGAR under construction.
    sorting,       ///< Descriptions of anchors, and the sorted anchors.
    chaining,
    joining,
    reach_tree,  ///< The nodes of a ReachTree.
};

/// Returns the calling thread's buffer for one use: at least `bytes` bytes with undefined contents, aligned to 64
/// bytes. The buffer is valid until the thread calls this function for the same use again, or calls TrimScratch.
/// Returns null if there is no memory.
std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept;

/// Frees those buffers of the calling thread that are too large to be kept. Call when no buffer is in use.
void TrimScratch() noexcept;

/// Frees the buffers of ended threads, which are kept for new threads. Any thread.
void FreeIdleScratch();

}  // namespace qel_minimap2::kernel
