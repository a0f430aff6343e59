#include "qel_minimap2/mapping/buffer_pool.h"

#include <exception>
#include <utility>

namespace qel_minimap2 {

namespace {

// The copy of a long read is not kept for the short reads after it.
constexpr std::size_t kKeptBases = 1 << 20;

}  // namespace

std::unique_ptr<MappingBuffer, BufferPool::GiveBack> BufferPool::Borrow() {
    std::unique_ptr<MappingBuffer> buffer;
    {
        const std::lock_guard lock(mutex);
        if (!idle.empty()) {
            // The one used last: its memory is most likely to be cached.
            buffer = std::move(idle.back());
            idle.pop_back();
        }
    }
    if (!buffer) {
        buffer = std::make_unique<MappingBuffer>();
    }
    return {buffer.release(), GiveBack{this}};
}

void BufferPool::Clear() {
    const std::lock_guard lock(mutex);
    idle.clear();
}

void BufferPool::Take(std::unique_ptr<MappingBuffer> buffer) {
    if (buffer->bases.capacity() > kKeptBases) {
        buffer->bases = {};
    }
    try {
        const std::lock_guard lock(mutex);
        idle.push_back(std::move(buffer));
    } catch (const std::exception&) {
        // Without memory to keep it, the buffer is freed here.
    }
}

}  // namespace qel_minimap2
