#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/pages.h"

namespace qel_minimap2 {

/// Where each minimizer of an index occurs: a flat table in the place of the library's hash table per bucket, which
/// takes twice the memory and three to five cache misses a look-up. Keys of four bytes lie apart from the values, so
/// that finding out that the index does not hold a minimizer, the answer for most of a noisy read's, is hardly more
/// than one miss.
///
/// A key is the minimizer without the lowest bits, which choose its bucket, and as lowest bit whether it occurs once.
/// Its value is then the one position; else where its list begins (upper 32 bits) and how many positions it has
/// (lower). Each bucket has a stretch of groups of 16 slots, a cache line of keys. A key lies in the group that its
/// hash says or, where that is full, in the next one with room.
///
/// The buckets are divided into blocks, each with memory of its own. Different threads may fill different blocks at
/// once; when all are filled, any thread may look up.
class SeedTable {
public:
    /// True for k-mers whose keys fit: up to 22 bases with the library's number of buckets.
    static bool Fits(int k, int bucket_bits) { return 2 * k - bucket_bits <= 30; }

    explicit SeedTable(unsigned bucket_bits);

    std::size_t BlockCount() const { return blocks.size(); }
    /// The lowest bits of a bucket's number, which tell the buckets of a block apart; the others are the block's
    /// number.
    unsigned BitsInBlock() const { return bits_in_block; }

    /// Makes room in a block for so many minimizers in each of its buckets and so many positions of the repeated ones.
    /// Throws std::bad_alloc.
    void MakeRoom(std::size_t block, const std::vector<std::uint32_t>& key_counts, std::uint64_t position_count);
    /// The positions of a block's repeated minimizers, to be filled. The starts of lists are counted from here.
    std::uint64_t* Positions(std::size_t block) const { return blocks[block].positions; }
    /// A key with its value.
    struct Entry {
        std::uint64_t key, value;
    };
    /// Fills a bucket, which is empty, with at most as many minimizers as was said. False where one stands twice, and
    /// where one finds no room near its place, as no honest ones can.
    bool Fill(std::uint64_t bucket, const std::vector<Entry>& entries);

    /// A look-up has three steps with a miss of the caches in each: the next step's memory is fetched while other
    /// look-ups take theirs. First, have the memory for Slot fetched. Inlined, since the compiler drops calls of
    /// functions that only prefetch.
    inline __attribute__((always_inline)) void PrefetchKeys(std::uint64_t minimizer) const {
        const auto& stretch = stretches[minimizer & bucket_mask];
        if (stretch.groups > 0) {
            __builtin_prefetch(BlockOf(minimizer).keys + GroupOf(stretch, minimizer >> bucket_bits) * kGroupSlots);
        }
    }
    static constexpr std::uint64_t kNoSlot = UINT64_MAX;
    /// Where the table holds a minimizer, or kNoSlot; the memory for AtSlot is being fetched then.
    std::uint64_t Slot(std::uint64_t minimizer) const;
    /// Where the minimizer of a slot occurs in the index, and in `count` how often.
    const std::uint64_t* AtSlot(std::uint64_t minimizer, std::uint64_t slot, int& count) const;

    /// Above how many occurrences lies the `fraction` of the most frequent minimizers: mm_idx_cal_max_occ of the table.
    std::int32_t OccurrenceThreshold(float fraction) const;

    /// The table that belongs to an index, or null when the library's own are in use.
    static const SeedTable* Of(const mm_idx_t& index) { return static_cast<const SeedTable*>(index.h); }
    /// Makes the index own a table. (Its member `h` is for a hash of the sequences' names, which nothing here makes.)
    static void Give(mm_idx_t& index, std::unique_ptr<const SeedTable> table);
    /// Makes the index own none.
    static void Drop(mm_idx_t& index);

private:
    static constexpr std::uint32_t kFree = UINT32_MAX;
    static constexpr std::uint32_t kGroupSlots = 16;
    // Taken on average: few groups overflow, and few slots are wasted.
    static constexpr std::uint32_t kKeysPerGroup = 14;

    // The groups of a bucket, counted from its block's first.
    struct Stretch {
        std::uint32_t begin, groups;
        std::uint64_t After(std::uint64_t group) const { return group + 1 < begin + groups ? group + 1 : begin; }
    };
    struct Block {
        Pages memory;
        std::uint32_t* keys = nullptr;
        std::uint64_t* values = nullptr;
        std::uint64_t* positions = nullptr;
        std::vector<std::uint32_t> counted;   // How many minimizers there are of each number of occurrences.
        std::vector<std::uint32_t> frequent;  // The numbers too high for that.
    };

    static void CountOccurrences(Block& block, const std::vector<Entry>& entries);
    static bool HoldsTwice(const std::vector<Entry>& entries, const Stretch& stretch, const std::uint32_t* keys);
    static bool IsOnce(std::uint64_t key, const Stretch& stretch, const std::uint32_t* keys);

    static std::uint64_t GroupOf(const Stretch& stretch, std::uint64_t key_bits) {
        const auto fraction = static_cast<std::uint32_t>(key_bits * 0x9E3779B1U);
        return stretch.begin + (std::uint64_t{fraction} * stretch.groups >> 32U);
    }
    const Block& BlockOf(std::uint64_t bucket) const { return blocks[(bucket & bucket_mask) >> bits_in_block]; }

    unsigned bucket_bits;
    unsigned bits_in_block;
    std::uint64_t bucket_mask;
    std::vector<Stretch> stretches;  // Of the buckets.
    std::vector<Block> blocks;
};

}  // namespace qel_minimap2
