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

/// Calls visit(number, table) for each bucket of an index that is not empty.
template <typename Visit>
void ForEachBucket(const mm_idx_t& index, const Visit& visit) {
    const auto* const buckets = static_cast<const IndexBucket*>(static_cast<const void*>(index.B));
    for (std::uint64_t number = 0; number < std::uint64_t{1} << static_cast<unsigned>(index.b); ++number) {
        if (buckets[number].table != nullptr) {
            visit(number, *static_cast<const MinimizerTable*>(buckets[number].table));
        }
    }
}

}  // namespace qel_minimap2
