#pragma once

#include <cstddef>
#include <cstdint>

namespace qel_minimap2::kernel {

/// Per-thread scratch buffers.
enum class Scratch {
    sequences,     ///< Copies of a call's sequences.
    lines,         ///< The difference lines of an anti-diagonal.
    scores,        ///< The scores of its cells.
    way_back,      ///< For the trace back: direction bytes, or copies of the difference lines.
    copy_offsets,  ///< The offset of each of those copies.
    runs,          ///< The CIGAR under construction.
    chaining,
    joining,
    reach_tree,  ///< The nodes of a ReachTree.
};

/// Returns the calling thread's buffer for one use: at least `bytes` bytes, aligned to 64, with undefined contents. It
/// is valid until the thread's next call for the same use. Null when there is no memory.
std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept;

/// Frees the calling thread's buffers that a rare large call has made large.
void TrimScratch() noexcept;

/// Frees the buffers of threads that have ended, which later threads would take. Any thread.
void FreeIdleScratch();

}  // namespace qel_minimap2::kernel
