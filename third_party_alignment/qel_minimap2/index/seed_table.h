#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <minimap.h>

namespace qel_minimap2 {

/// Where each minimizer of an index occurs: one flat table in the place of the library's hash table per bucket, which
/// takes half as much memory again and three to five cache misses a look-up. Keys of four bytes lie apart from the
/// values, so that finding out that the index does not hold a minimizer, the answer for most of a noisy read's, is one
/// miss.
///
/// A key is the minimizer without the lowest bits, which choose its bucket, and as lowest bit whether it occurs once.
/// Its value is then the one position; else the start (upper 32 bits) and number (lower) in the bucket's list of
/// positions. Each bucket has a stretch of slots, more than it has keys; a key lies in the first free one from where
/// its hash says.
///
/// One thread fills it; once it is filled any thread may look up.
class SeedTable {
public:
    /// True for k-mers whose keys fit: up to 22 bases with the library's number of buckets.
    static bool Fits(int k, int bucket_bits) { return 2 * k - bucket_bits <= 30; }

    /// An empty table for buckets with these numbers of keys. Throws std::bad_alloc.
    SeedTable(unsigned bucket_bits, const std::vector<std::uint32_t>& key_counts);

    /// Adds a key to a bucket, at most as often as was said. False for a minimizer that the bucket holds already.
    bool Insert(std::uint64_t bucket, std::uint64_t key, std::uint64_t value);

    /// Where a minimizer occurs in the index, which has its bucket's list, and in `count` how often; null for 0. Any
    /// thread once the table is filled.
    const std::uint64_t* Find(const mm_idx_t& index, std::uint64_t minimizer, int& count) const;

    /// Has the memory that Find looks at first fetched.
    void Prefetch(std::uint64_t minimizer) const {
        const auto stretch = StretchOf(minimizer & bucket_mask);
        __builtin_prefetch(&keys[stretch.SlotOf(minimizer >> bucket_bits)]);
    }

    /// Above how many occurrences lies the `fraction` of the most frequent minimizers: mm_idx_cal_max_occ of the table.
    std::int32_t OccurrenceThreshold(float fraction) const;

    /// The table that belongs to an index, or null when the library's own are in use.
    static const SeedTable* Of(const mm_idx_t& index) { return static_cast<const SeedTable*>(index.h); }
    /// Makes the index own a table. (Its member `h` is for a hash of the sequences' names, which nothing here makes.)
    static void Give(mm_idx_t& index, std::unique_ptr<const SeedTable> table);
    /// Makes the index own none.
    static void Drop(mm_idx_t& index);
    /// Moves what the library's tables hold into a table of the index. Throws std::bad_alloc.
    static void Replace(mm_idx_t& index);

private:
    static constexpr std::uint32_t kFree = UINT32_MAX;

    // The slots of a bucket.
    struct Stretch {
        std::uint64_t begin, size;
        std::uint64_t SlotOf(std::uint64_t key_bits) const {
            return begin + (static_cast<std::uint32_t>(key_bits * 0x9E3779B1U) * size >> 32U);
        }
        std::uint64_t After(std::uint64_t slot) const { return slot + 1 < begin + size ? slot + 1 : begin; }
    };

    Stretch StretchOf(std::uint64_t bucket) const { return {begins[bucket], begins[bucket + 1] - begins[bucket]}; }

    unsigned bucket_bits;
    std::uint64_t bucket_mask;
    std::vector<std::uint64_t> begins;  // The first slot of each bucket; at the end, the number of slots.
    std::unique_ptr<std::uint32_t[]> keys;
    std::unique_ptr<std::uint64_t[]> values;
};

/// For the time of its life, the thread prepares look-ups of each read's minimizers in this index.
class LookUpsAhead {
public:
    explicit LookUpsAhead(const mm_idx_t& index) { table = SeedTable::Of(index); }
    ~LookUpsAhead() { table = nullptr; }
    LookUpsAhead(const LookUpsAhead&) = delete;
    LookUpsAhead& operator=(const LookUpsAhead&) = delete;

    /// The table that the calling thread's look-ups will go to, or null.
    static const SeedTable* Table() { return table; }

private:
    static thread_local const SeedTable* table;
};

}  // namespace qel_minimap2
