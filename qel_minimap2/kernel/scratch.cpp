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

struct Buffer {
    std::unique_ptr<std::uint8_t, Free> memory;
    std::size_t size = 0;
};

thread_local std::array<Buffer, static_cast<std::size_t>(Scratch::joining) + 1> buffers;

}  // namespace

std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept {
    auto& buffer = buffers[static_cast<std::size_t>(use)];
    if (buffer.size < bytes) {
        buffer.memory.reset();  // Freed first, so that old and new memory never add up.
        buffer.size = 0;
        const std::size_t size = (bytes + bytes / 4 + kPage - 1) / kPage * kPage;
        buffer.memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, size)));
        buffer.size = buffer.memory ? size : 0;
    }
    return buffer.memory.get();
}

void TrimScratch() noexcept {
    for (auto& buffer : buffers) {
        if (buffer.size > kKept) {
            buffer = {};
        }
    }
}

}  // namespace qel_minimap2::kernel
