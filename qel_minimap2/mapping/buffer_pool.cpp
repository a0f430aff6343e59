#include "qel_minimap2/mapping/buffer_pool.h"

#include <exception>
#include <utility>

namespace qel_minimap2 {

namespace {

// The copy of one long read is not kept for all the short ones behind it.
constexpr std::size_t kKeptBases = 1 << 20;

}  // namespace

std::unique_ptr<MappingBuffer, BufferPool::GiveBack> BufferPool::Borrow() {
    std::unique_ptr<MappingBuffer> buffer;
    {
        const std::lock_guard lock(mutex);
        if (!idle.empty()) {
            // The one used last: its memory is the most likely to be in the caches.
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
        // No memory to remember it: it is freed here.
    }
}

}  // namespace qel_minimap2
