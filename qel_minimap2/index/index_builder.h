#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "qel_minimap2/index/index_buckets.h"
#include "qel_minimap2/index/index_layout.h"
#include "qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// Makes an index in memory that the library can free. A SeedTable takes the place of the library's hash tables where
/// the caller wants one and the minimizers fit it. Checks nothing. All operations throw std::bad_alloc.
class IndexBuilder {
public:
    /// Without sequences.
    IndexBuilder(const IndexHeader& header, bool with_seed_table);

    void SetSequences(const std::vector<ReferenceSequence>& sequences);
    /// Makes the index own its packed bases, which come from malloc.
    void SetBases(std::uint32_t* words) { index->S = words; }

    /// Null when the library's tables are to be filled.
    SeedTable* Table() { return table.get(); }
    /// A bucket with the library's table for that many keys, whose positions come from malloc. Different buckets may be
    /// filled by different threads at once.
    IndexBucket& StartBucket(std::uint64_t bucket, std::uint32_t position_count, std::uint32_t key_count);

    /// The index. Nothing may be called after it.
    IndexPointer Take();

private:
    IndexPointer index;
    std::unique_ptr<SeedTable> table;
};

/// Memory from malloc, which the library frees its own with; null for nothing. Throws std::bad_alloc.
template <typename T>
T* Allocated(std::uint64_t count) {
    void* const memory = count > 0 ? std::malloc(count * sizeof(T)) : nullptr;
    if (memory == nullptr && count > 0) {
        throw std::bad_alloc();
    }
    return static_cast<T*>(memory);
}

}  // namespace qel_minimap2
