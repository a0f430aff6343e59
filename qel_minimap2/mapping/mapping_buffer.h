#pragma once

#include <algorithm>
#include <exception>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <minimap.h>

namespace qel_minimap2 {

/// The working memory of one mapping. It is kept for later reads. The number of kept buffers never exceeds the highest
/// number of mappings that ran at the same time. Any thread may create an object, and only that thread may use it. The
/// constructor throws std::bad_alloc.
class MappingBuffer {
public:
    MappingBuffer() {
        const auto self = std::this_thread::get_id();
        const std::lock_guard lock(mutex);
        if (idle.empty()) {
            memory.buffer.reset(mm_tbuf_init());
            if (!memory.buffer) {
                throw std::bad_alloc();
            }
        } else {
            // Takes the idle buffer that this thread used most recently or, if there is none, the one that any thread
            // used most recently. Its memory is the most likely to be cached.
            const auto own =
                std::find_if(idle.rbegin(), idle.rend(), [self](const auto& one) { return one.user == self; });
            const auto taken = own != idle.rend() ? std::prev(own.base()) : std::prev(idle.end());
            memory = std::move(*taken);
            idle.erase(taken);
        }
        memory.user = self;
    }
    ~MappingBuffer() {
        if (memory.bases.capacity() > kKeptBases) {
            memory.bases = {};
        }
        try {
            const std::lock_guard lock(mutex);
            idle.push_back(std::move(memory));
        } catch (const std::exception&) {
            // There is no memory for the list, so the buffer is freed.
        }
    }
    MappingBuffer(const MappingBuffer&) = delete;
    MappingBuffer& operator=(const MappingBuffer&) = delete;

    /// Frees the memory that no mapping uses. Any thread.
    static void FreeIdle() {
        const std::lock_guard lock(mutex);
        idle.clear();
    }

    mm_tbuf_t* OfMinimap2() { return memory.buffer.get(); }
    /// A buffer for a copy of the read's bases.
    std::string& Bases() { return memory.bases; }

private:
    // In bases. Memory for more bases is not kept, because most reads are shorter.
    static constexpr std::size_t kKeptBases = 1 << 20;

    struct Destroy {
        void operator()(mm_tbuf_t* buffer) const { mm_tbuf_destroy(buffer); }
    };
    struct Memory {
        std::unique_ptr<mm_tbuf_t, Destroy> buffer;
        std::string bases;
        std::thread::id user;
    };

    static inline std::mutex mutex;
    static inline std::vector<Memory> idle;  // Guarded by mutex.
    Memory memory;
};

}  // namespace qel_minimap2
