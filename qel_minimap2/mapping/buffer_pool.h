#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <minimap.h>

namespace qel_minimap2 {

/// The working memory of one mapping: minimap2's buffer and a copy of the read's bases.
struct MappingBuffer {
    struct Destroy {
        void operator()(mm_tbuf_t* buffer) const { mm_tbuf_destroy(buffer); }
    };

    std::unique_ptr<mm_tbuf_t, Destroy> buffer{mm_tbuf_init()};
    std::string bases;
};

/// Lends mapping buffers and takes them back for the next read. Their number is the
/// largest number of reads that were mapped at the same time. Any thread.
class BufferPool {
public:
    struct GiveBack {
        BufferPool* pool;
        void operator()(MappingBuffer* buffer) const { pool->Take(std::unique_ptr<MappingBuffer>(buffer)); }
    };

    /// Lends a buffer until the result is destroyed, on any thread.
    std::unique_ptr<MappingBuffer, GiveBack> Borrow();

    /// Frees the buffers that are not lent.
    void Clear();

private:
    void Take(std::unique_ptr<MappingBuffer> buffer);

    std::mutex mutex;
    std::vector<std::unique_ptr<MappingBuffer>> idle;  // Guarded by mutex.
};

}  // namespace qel_minimap2
