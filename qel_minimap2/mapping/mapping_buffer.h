#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <minimap.h>

namespace qel_minimap2 {

/// The working memory of one mapping, kept for later reads. There is memory for as many mappings as ran at the same
/// time. Any thread.
class MappingBuffer {
public:
    MappingBuffer() {
        const std::lock_guard lock(mutex);
        if (idle.empty()) {
            memory.buffer.reset(mm_tbuf_init());
        } else {  // The one used last: its memory is most likely to be cached.
            memory = std::move(idle.back());
            idle.pop_back();
        }
    }
    ~MappingBuffer() {
        if (memory.bases.capacity() > kKeptBases) {
            memory.bases = {};
        }
        try {
            const std::lock_guard lock(mutex);
            idle.push_back(std::move(memory));
        } catch (const std::exception&) {
            // Without memory to keep it, the buffer is freed.
        }
    }
    MappingBuffer(const MappingBuffer&) = delete;
    MappingBuffer& operator=(const MappingBuffer&) = delete;

    /// Frees the memory that no mapping uses.
    static void FreeIdle() {
        const std::lock_guard lock(mutex);
        idle.clear();
    }

    mm_tbuf_t* OfMinimap2() { return memory.buffer.get(); }
    /// For a copy of the read's bases.
    std::string& Bases() { return memory.bases; }

private:
    // The copy of a long read is not kept for the short reads after it.
    static constexpr std::size_t kKeptBases = 1 << 20;

    struct Destroy {
        void operator()(mm_tbuf_t* buffer) const { mm_tbuf_destroy(buffer); }
    };
    struct Memory {
        std::unique_ptr<mm_tbuf_t, Destroy> buffer;
        std::string bases;
    };

    static inline std::mutex mutex;
    static inline std::vector<Memory> idle;  // Guarded by mutex.
    Memory memory;
};

}  // namespace qel_minimap2
