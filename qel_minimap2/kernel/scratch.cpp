#include "qel_minimap2/kernel/scratch.h"

#include <array>
#include <new>

#include "qel_minimap2/pages.h"

namespace qel_minimap2::kernel {

namespace {

// Base alignment needs its buffers hundreds of times per read, and megabytes for ordinary reads; chaining, twice.
constexpr std::size_t kKept = std::size_t{16} << 20;
constexpr std::size_t kKeptOfChains = std::size_t{2} << 20;

constexpr std::size_t Kept(std::size_t use) {
    return use < static_cast<std::size_t>(Scratch::chaining) ? kKept : kKeptOfChains;
}

thread_local std::array<Pages, static_cast<std::size_t>(Scratch::reach_tree) + 1> buffers;

}  // namespace

std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept {
    const auto number = static_cast<std::size_t>(use);
    auto& buffer = buffers[number];
    if (buffer.Size() < bytes) {
        buffer = Pages();  // Freed first, so that old and new memory never add up.
        try {
            // With room to grow, unless the buffer is freed after this call anyway.
            buffer = Pages(bytes <= Kept(number) ? bytes + bytes / 4 : bytes);
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    return buffer.Data();
}

void TrimScratch() noexcept {
    for (std::size_t use = 0; use < buffers.size(); ++use) {
        if (buffers[use].Size() > Kept(use)) {
            buffers[use] = Pages();
        }
    }
}

}  // namespace qel_minimap2::kernel
