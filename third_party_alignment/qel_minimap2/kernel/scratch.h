#pragma once

#include <cstddef>
#include <cstdint>

namespace qel_minimap2::kernel {

/// What a thread's pieces of working memory are for.
enum class Scratch { sequences, lines, scores, directions, runs, chaining, joining };

/// At least `bytes` of the calling thread's memory for one use, aligned to 64 bytes, contents undefined; valid until
/// the thread asks again for the same use. Null when there is no memory.
std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept;

/// Gives back what a rare large call has left the calling thread with.
void TrimScratch() noexcept;

}  // namespace qel_minimap2::kernel
