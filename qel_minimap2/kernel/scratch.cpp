#include "qel_minimap2/kernel/scratch.h"

#include <array>
#include <cstdlib>
#include <memory>

namespace qel_minimap2::kernel {

namespace {

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kPage = 4096;
constexpr std::size_t kKept = std::size_t{16} << 20;

struct Free {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
};

struct Piece {
    std::unique_ptr<std::uint8_t, Free> memory;
    std::size_t size = 0;
};

thread_local std::array<Piece, static_cast<std::size_t>(Scratch::joining) + 1> pieces;

}  // namespace

std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept {
    auto& piece = pieces[static_cast<std::size_t>(use)];
    if (piece.size < bytes) {
        piece.memory.reset();  // First, so that the two never add up.
        piece.size = 0;
        const std::size_t size = (bytes + bytes / 4 + kPage - 1) / kPage * kPage;
        piece.memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, size)));
        piece.size = piece.memory ? size : 0;
    }
    return piece.memory.get();
}

void TrimScratch() noexcept {
    for (auto& piece : pieces) {
        if (piece.size > kKept) {
            piece = {};
        }
    }
}

}  // namespace qel_minimap2::kernel
