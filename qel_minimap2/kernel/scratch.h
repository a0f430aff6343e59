#pragma once

#include <cstddef>
#include <cstdint>

namespace qel_minimap2::kernel {

/// What a thread's pieces of working memory are for.
enum class Scratch {
    sequences,     ///< Copies of a call's sequences.
    lines,         ///< The difference lines of an anti-diagonal.
    scores,        ///< The scores of its cells.
    way_back,      ///< What a path is traced back by: direction bytes, or copies of the difference lines.
    copy_offsets,  ///< Where each of those copies lies.
    runs,          ///< The CIGAR under construction.
    chaining,
    joining,
};

/// At least `bytes` of the calling thread's memory for one use, aligned to 64 bytes, contents undefined; valid until
/// the thread asks again for the same use. Null when there is no memory.
std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept;

/// Gives back what a rare large call has left the calling thread with.
void TrimScratch() noexcept;

}  // namespace qel_minimap2::kernel
