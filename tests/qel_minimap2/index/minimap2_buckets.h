#pragma once

#include <cstdint>

#include <khash.h>
#include <minimap.h>

namespace Tests {

// minimap2's headers do not declare the hash tables of its indexes. The declarations below match versions 2.24 to 2.27.

/// The lowest bit of a key is 1 if the minimizer occurs once. The other bits are the minimizer without the bits that
/// choose its bucket.
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

/// Returns the hash table of a bucket in an index that minimap2 made; null for a bucket without minimizers.
inline const khash_t(minimizers) * TableOfBucket(const mm_idx_t& index, std::uint64_t bucket) {
    struct Bucket {
        mm128_v unsorted;
        std::int32_t position_count;
        std::uint64_t* positions;
        void* table;
    };
    return static_cast<const khash_t(minimizers)*>(
        static_cast<const Bucket*>(static_cast<void*>(index.B))[bucket].table);
}

}  // namespace Tests
