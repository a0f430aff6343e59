#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/pages.h"

namespace qel_minimap2 {

/// Memory of an index that belongs to somebody else, such as a mapped file.
class ForeignMemory {
public:
    virtual ~ForeignMemory() = default;

    /// Ends the process if the memory no longer holds what was checked; a change of the last milliseconds may go
    /// unnoticed, but not by the destructor, which does the same. Call after reading. Any thread.
    virtual void RequireUnchanged() const = 0;
};

/// Where each minimizer of an index occurs, in flat arrays. They replace the hash tables that minimap2 keeps for each
/// bucket, which need more memory and miss the cache three to five times a look-up. Here a look-up that finds nothing,
/// as for most minimizers of a noisy read, costs little more than one miss.
///
/// The lowest bits of a minimizer choose its bucket. The next 30 bits are in its key, and those above in its rest; with
/// minimap2's number of buckets, only k-mers of more than 22 bases have a rest.
///
///     minimizer, highest bit first:   | rest | 30 bits of the key | bucket |
///
///     stretches   | groups of bucket 0            | of bucket 1   | ...   first group and number of groups
///
///     keys        | 16 of group 0, a cache line   | of group 1    | ...   4 bytes each
///     rests       | 16 of group 0                 | of group 1    | ...   4 bytes each; missing if all are 0
///     values      | 16 of group 0                 | of group 1    | ...   8 bytes each
///     positions   | list of a repeated minimizer  | of another    | ...   8 bytes each
///
/// The lowest bit of a key is 1 for a minimizer that occurs once; its value is then its position. The value of a
/// repeated minimizer is where its list begins (upper 32 bits) and how many positions the list has (lower). Each bucket
/// has a stretch of groups. A key lies in the group that its hash chooses or, where that is full, in the next group of
/// the stretch with room; a group with a free slot ends the search. Where that would fill too many groups in a row, the
/// whole bucket is sorted instead, and a look-up halves the range that it searches, whatever keys a file crowds
/// together.
///
/// Blocks of buckets have memory of their own, the four lower arrays. Different threads may fill different blocks at
/// the same time; when all are filled, any thread may look up.
class SeedTable {
public:
    /// A table without minimizers, for k-mers of up to 28 bases. `bucket_bits` is at most 2 * `k`. Throws
    /// std::bad_alloc.
    SeedTable(unsigned k, unsigned bucket_bits);

    /// The groups of a bucket, counted from its block's first.
    struct Stretch {
        static constexpr std::uint32_t kSorted = std::uint32_t{1} << 31U;  // Marks the groups of a sorted bucket.

        std::uint32_t begin, groups;
        // Whether there are groups and they are not sorted, in one comparison.
        bool IsHashed() const { return groups - 1 < kSorted - 1; }
        std::uint32_t Groups() const { return groups & ~kSorted; }
        std::uint64_t After(std::uint64_t group) const { return group + 1 < begin + groups ? group + 1 : begin; }
    };
    /// How many minimizers occur that many times.
    struct OccurrenceCount {
        std::uint64_t occurrences, minimizers;
    };
    /// The four arrays of a block, one after the other, beginning at a cache line.
    struct BlockMemory {
        const unsigned char* data;
        std::uint64_t groups, positions;
    };
    /// A filled table in foreign memory: the arrays of another table with as many buckets for the same k. The table
    /// shares the ownership of that memory and never writes to it. `counts` in ascending order of occurrences.
    /// Stretches must lie in their blocks; whatever keys, values and positions are, a look-up stays within the memory.
    struct Parts {
        std::shared_ptr<const ForeignMemory> owner;
        const Stretch* stretches;
        std::vector<BlockMemory> blocks;
        std::vector<OccurrenceCount> counts;
        const std::uint32_t* lengths;  ///< Of the sequences, in bases.
        std::uint64_t sequences;
    };
    SeedTable(unsigned k, unsigned bucket_bits, Parts parts);
    /// The parts of a filled table, which stays their owner.
    Parts AllParts() const;
    /// What follows from the length of the k-mers and the number of buckets.
    struct Shape {
        Shape(unsigned k, unsigned bucket_bits);
        std::size_t BlockCount() const { return std::size_t{1} << (bucket_bits - bits_in_block); }
        /// The size of a block's memory in bytes.
        std::uint64_t SizeOf(std::uint64_t groups, std::uint64_t positions) const;

        unsigned k, bucket_bits;
        /// How many of the lowest bits of a bucket's number are its number within the block; the others are the
        /// block's number.
        unsigned bits_in_block;
        bool has_rests;
    };
    const Shape& TableShape() const { return shape; }
    /// Whether its memory belongs to somebody else.
    bool IsForeign() const { return foreign.owner != nullptr; }
    /// See ForeignMemory; does nothing for a table that owns its memory.
    void RequireUnchanged() const {
        if (foreign.owner != nullptr) {
            foreign.owner->RequireUnchanged();
        }
    }

    std::size_t BlockCount() const { return blocks.size(); }
    unsigned BitsInBlock() const { return shape.bits_in_block; }

    /// Makes room in a block: `key_counts`, for each bucket, its number of minimizers; `position_count`, the number of
    /// positions of repeated minimizers. `memory` of any content becomes the block's if it is large enough. Throws
    /// std::bad_alloc.
    void MakeRoom(std::size_t block, const std::vector<std::uint32_t>& key_counts, std::uint64_t position_count,
                  Pages memory = {});
    /// Takes away the memory of a filled block, in which nothing can be looked up afterwards.
    Pages TakeMemory(std::size_t block) { return std::move(blocks[block].memory); }
    /// A filled block.
    BlockMemory ContentOf(std::size_t block) const;
    /// The positions of a block's repeated minimizers, to be filled by the caller. Starts of lists count from here.
    std::uint64_t* Positions(std::size_t block) const { return blocks[block].positions; }
    /// A minimizer without its bucket's bits and with the lowest bit of its key, as prebuilt indexes store it, and its
    /// value.
    struct Entry {
        std::uint64_t key, value;
    };
    /// Fills an empty bucket with at most as many minimizers as MakeRoom was told. Returns false for a duplicate.
    bool Fill(std::uint64_t bucket, const std::vector<Entry>& entries);

    /// A look-up misses the cache up to three times. Callers interleave many: PrefetchKeys, then Slot, which prefetches
    /// the value, then AtSlot. PrefetchKeys is inlined, because the compiler drops calls of functions that only
    /// prefetch.
    inline __attribute__((always_inline)) void PrefetchKeys(std::uint64_t minimizer) const {
        const auto& stretch = stretches[minimizer & bucket_mask];
        if (stretch.IsHashed()) {
            __builtin_prefetch(BlockOf(minimizer).keys +
                               GroupOf(stretch, minimizer >> shape.bucket_bits) * kGroupSlots);
        }
    }
    static constexpr std::uint64_t kNoSlot = UINT64_MAX;
    /// Where the table holds a minimizer, or kNoSlot.
    std::uint64_t Slot(std::uint64_t minimizer) const;
    /// Where the minimizer of a slot occurs in the index, and in `count` how often. Null, only in foreign memory, when
    /// its list would lie outside the block.
    const std::uint64_t* AtSlot(std::uint64_t minimizer, std::uint64_t slot, int& count) const;

    /// Whether these positions lie in their sequences. True in a table that owns its memory: its positions were checked
    /// before.
    bool ArePossible(const std::uint64_t* positions, std::uint32_t count) const {
        return foreign.lengths == nullptr ||
               std::all_of(positions, positions + count, [this](auto position) { return IsPossible(position); });
    }

    /// The minimizers in the slots of a bucket, in the order of the slots, whatever these hold.
    struct Stored {
        std::uint64_t slot, minimizer;
    };
    std::vector<Stored> MinimizersOf(std::uint64_t bucket) const;

    /// The occurrence count that the top `fraction` of minimizers exceed, as minimap2's mm_idx_cal_max_occ returns it.
    std::int32_t OccurrenceThreshold(float fraction) const;

    /// The table of an index that LoadIndex made; null for an index that minimap2 made.
    static const SeedTable* Of(const mm_idx_t& index) { return static_cast<const SeedTable*>(index.h); }
    /// Makes the index own a table. (Its member `h` is meant for a hash table of the sequences' names, which is never
    /// built here.)
    static void Give(mm_idx_t& index, std::unique_ptr<const SeedTable> table);
    /// Frees the table of an index, if it has one.
    static void Drop(mm_idx_t& index);

private:
    static constexpr unsigned kMostKeyBits = 30;
    static constexpr std::uint32_t kFree = UINT32_MAX;  // The highest bit of a key is 0.
    static constexpr std::uint32_t kGroupSlots = 16;
    // On average: few groups overflow, and few slots are wasted.
    static constexpr std::uint32_t kKeysPerGroup = 14;

    struct Block {
        // Written to only while the table is filled.
        std::uint32_t* keys = nullptr;
        std::uint32_t* rests = nullptr;
        std::uint64_t* values = nullptr;
        std::uint64_t* positions = nullptr;
        std::uint64_t groups = 0;
        std::uint64_t position_count = 0;
        Pages memory;
        // How many minimizers occur how many times: up to a limit, and above it.
        std::vector<std::uint32_t> rare;
        std::map<std::uint64_t, std::uint32_t> frequent;
    };

    static bool FillHashed(const std::vector<Entry>& entries, const Stretch& stretch, Block& block);
    static bool FillSorted(std::vector<Entry> entries, const Stretch& stretch, Block& block);
    static void Put(const Entry& entry, Block& block, std::uint64_t slot);
    std::uint64_t SortedSlot(std::uint64_t minimizer) const;
    // `position`: number of the sequence, 0-based position of the k-mer's last base, and strand.
    bool IsPossible(std::uint64_t position) const {
        const auto sequence = position >> 32U;
        const auto last_base = (position & 0xFFFFFFFFU) >> 1U;
        return sequence < lengths.size() && last_base < lengths[sequence] && last_base + 1 >= shape.k;
    }
    void SetArrays(Block& block, const BlockMemory& memory) const;
    const std::vector<OccurrenceCount>& Counts() const;
    static void CountOccurrences(Block& block, const std::vector<Entry>& entries);
    static bool HasDuplicate(const std::vector<Entry>& entries, const Stretch& stretch, const Block& block);
    static bool IsOnce(std::uint64_t key_bits, const Stretch& stretch, const Block& block);
    // The highest number for a free slot.
    static std::uint64_t KeyBitsAt(const Block& block, std::uint64_t slot) {
        const auto rest = block.rests != nullptr ? std::uint64_t{block.rests[slot]} << kMostKeyBits : 0;
        return block.keys[slot] == kFree ? UINT64_MAX : rest | block.keys[slot] >> 1U;
    }
    static bool HasFreeSlot(const Block& block, std::uint64_t group) {
        return block.keys[group * kGroupSlots + kGroupSlots - 1] == kFree;
    }
    static unsigned SlotsWith(const Block& block, std::uint64_t group, std::uint64_t key_bits);

    // `key_bits`, here and above: a minimizer without its bucket's bits.
    static std::uint64_t GroupOf(const Stretch& stretch, std::uint64_t key_bits) {
        const auto fraction = static_cast<std::uint32_t>(key_bits * 0x9E3779B1U);
        return stretch.begin + (std::uint64_t{fraction} * stretch.groups >> 32U);
    }
    const Block& BlockOf(std::uint64_t bucket) const { return blocks[(bucket & bucket_mask) >> shape.bits_in_block]; }

    const Shape shape;
    const std::uint64_t bucket_mask;
    std::vector<Stretch> own_stretches;  // One for each bucket.
    const Stretch* stretches;
    std::vector<Block> blocks;
    std::vector<std::uint32_t> lengths;  // A copy of those in foreign memory.
    Parts foreign;                       // Without an owner if all memory is the table's own.
    mutable std::once_flag counted;
    mutable std::vector<OccurrenceCount> counts;  // Of all blocks, once `counted`.
    mutable std::vector<std::uint64_t> ranks;     // For each of these, how many minimizers occur as often or less.
};

}  // namespace qel_minimap2
