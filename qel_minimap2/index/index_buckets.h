#pragma once

#include <cstddef>
#include <cstdint>

#include <khash.h>
#include <minimap.h>

namespace qel_minimap2 {

// The library keeps an index's hash tables to itself. This is how version 2.24 lays them out, the one that the build
// asks for.

/// Keys of the tables: the minimizer without its bucket's bits, and as lowest bit, which does not take part in
/// comparisons, whether it occurs once.
inline khint_t HashOfKey(std::uint64_t key) {
    return static_cast<khint_t>(key >> 1U);
}
inline bool SameKey(std::uint64_t a, std::uint64_t b) {
    return a >> 1U == b >> 1U;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wcast-qual"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
KHASH_INIT(minimizers, std::uint64_t, std::uint64_t, 1, HashOfKey, SameKey)
#pragma GCC diagnostic pop

using MinimizerTable = khash_t(minimizers);

/// A bucket of an index: the minimizers whose lowest bits are its number.
struct IndexBucket {
    mm128_v unsorted;          ///< Of use while the index is built.
    std::int32_t count;        ///< Of `positions`.
    std::uint64_t* positions;  ///< Of the minimizers that occur more than once.
    void* table;               ///< A MinimizerTable, or null for an empty bucket.
};

/// The buckets of an index, 2 to the power of its member `b`.
inline IndexBucket* BucketsOf(const mm_idx_t& index) {
    return static_cast<IndexBucket*>(static_cast<void*>(index.B));
}

}  // namespace qel_minimap2
