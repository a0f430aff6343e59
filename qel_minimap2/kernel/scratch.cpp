#include "qel_minimap2/kernel/scratch.h"

#include <array>
#include <utility>

#include <sys/mman.h>

namespace qel_minimap2::kernel {

namespace {

constexpr std::size_t kPage = 4096;
// Alignments need theirs hundreds of times a read, and ordinary reads need megabytes. Chains are found twice a read.
constexpr std::size_t kKept = std::size_t{16} << 20;
constexpr std::size_t kKeptOfChains = std::size_t{2} << 20;

constexpr std::size_t Kept(std::size_t use) {
    return use < static_cast<std::size_t>(Scratch::chaining) ? kKept : kKeptOfChains;
}

// Pages directly from the system: an allocator would keep what a large call gives back.
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::size_t bytes) noexcept : size((bytes + kPage - 1) / kPage * kPage) {
        void* const pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            size = 0;
        } else {
            memory = static_cast<std::uint8_t*>(pages);
        }
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(Buffer&& other) noexcept {
        std::swap(memory, other.memory);
        std::swap(size, other.size);
        return *this;
    }
    ~Buffer() {
        if (memory != nullptr) {
            ::munmap(memory, size);
        }
    }

    std::uint8_t* Memory() const { return memory; }
    std::size_t Size() const { return size; }

private:
    std::uint8_t* memory = nullptr;
    std::size_t size = 0;
};

thread_local std::array<Buffer, static_cast<std::size_t>(Scratch::reach_tree) + 1> buffers;

}  // namespace

std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept {
    const auto number = static_cast<std::size_t>(use);
    auto& buffer = buffers[number];
    if (buffer.Size() < bytes) {
        buffer = Buffer();  // Freed first, so that old and new memory never add up.
        // With room to grow, unless the buffer is freed after this call anyway.
        buffer = Buffer(bytes <= Kept(number) ? bytes + bytes / 4 : bytes);
    }
    return buffer.Memory();
}

void TrimScratch() noexcept {
    for (std::size_t use = 0; use < buffers.size(); ++use) {
        if (buffers[use].Size() > Kept(use)) {
            buffers[use] = Buffer();
        }
    }
}

}  // namespace qel_minimap2::kernel
