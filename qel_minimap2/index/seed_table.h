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

/// Memory that an index uses but does not own, such as a mapped file.
class ForeignMemory {
public:
    virtual ~ForeignMemory() = default;

    /// Ends the process if the memory has changed since it was checked. Call after each use of the memory. A change in
    /// the last milliseconds before the call may go unnoticed, so the destructor of an implementation checks once more.
    /// Any thread.
    virtual void RequireUnchanged() const = 0;
};

/// Where each minimizer of an index occurs, in flat arrays. minimap2's hash tables need more memory and miss the cache
/// three to five times per look-up. Most minimizers of a noisy read are not in the index. Here, looking up such a
/// minimizer costs little more than one cache miss.
///
/// The lowest bits of a minimizer choose its bucket. The next 30 bits are in its key, and those above are its rest.
/// With minimap2's number of buckets, only k-mers of more than 22 bases have a rest.
///
///     minimizer, highest bit first:   | rest | 30 bits of the key | bucket |
///
///     stretches   | groups of bucket 0            | of bucket 1   | ...   first group and number of groups
///
///     keys        | 16 of group 0, a cache line   | of group 1    | ...   4 bytes each
///     rests       | 16 of group 0                 | of group 1    | ...   4 bytes each; missing if minimizers have no
///                                                                   more than 30 bits above the bucket's
///     values      | 16 of group 0                 | of group 1    | ...   8 bytes each
///     positions   | list of a repeated minimizer  | of another    | ...   8 bytes each
///
/// The lowest bit of a key is 1 if the minimizer occurs once; the value is then the position. The value of a repeated
/// minimizer is where its list begins in the positions (upper 32 bits) and the length of the list (lower 32). Each
/// bucket has a stretch of groups. A key is in the group that its hash chooses or, if that group is full, in the next
/// group of the stretch that has room. A search therefore ends at a group with a free slot. If a run of full groups
/// would be too long, the bucket is sorted instead, and a look-up is a binary search. Look-ups therefore stay fast even
/// if many keys choose the same group.
///
/// Each block of buckets has its own memory for its keys, rests, values and positions. Different threads may fill
/// different blocks at the same time. When all blocks are filled, any thread may look up minimizers.
class SeedTable {
public:
    /// Makes a table without minimizers. `k` is at most 28, `bucket_bits` at most 2 * `k`. Throws std::bad_alloc.
    SeedTable(unsigned k, unsigned bucket_bits);

    /// The groups of a bucket. `begin` is the number of the first group, counted from the start of the block.
    struct Stretch {
        static constexpr std::uint32_t kSorted = std::uint32_t{1} << 31U;  // Marks the groups of a sorted bucket.

        std::uint32_t begin, groups;
        // Returns, with a single comparison, whether the bucket has groups and is not sorted.
        bool IsHashed() const { return groups - 1 < kSorted - 1; }
        std::uint32_t Groups() const { return groups & ~kSorted; }
        std::uint64_t After(std::uint64_t group) const { return group + 1 < begin + groups ? group + 1 : begin; }
    };
    /// How many minimizers have this number of occurrences.
    struct OccurrenceCount {
        std::uint64_t occurrences, minimizers;
    };
    /// The four arrays of a block, one after the other. They begin on a cache-line boundary.
    struct BlockMemory {
        const unsigned char* data;
        std::uint64_t groups, positions;
    };
    /// The content of a filled table, for a new table with the same `k` and `bucket_bits`. The new table uses the same
    /// memory, but never writes to it. `owner` keeps the memory alive; if it is null, the memory must outlive the new
    /// table. `counts` are in ascending order of occurrences. Stretches must lie within their blocks. Whatever the
    /// keys, values and positions are, a look-up stays within the memory.
    struct Parts {
        std::shared_ptr<const ForeignMemory> owner;
        const Stretch* stretches;
        std::vector<BlockMemory> blocks;
        std::vector<OccurrenceCount> counts;
        const std::uint32_t* lengths;  ///< In bases, one for each sequence.
        std::uint64_t sequences;
    };
    SeedTable(unsigned k, unsigned bucket_bits, Parts parts);
    /// Returns the parts of a filled table, without an owner or lengths. The parts point into the table's memory.
    Parts AllParts() const;
    /// Properties that follow from the length of the k-mers and the number of buckets.
    struct Shape {
        Shape(unsigned k, unsigned bucket_bits);
        std::size_t BlockCount() const { return std::size_t{1} << (bucket_bits - bits_in_block); }
        /// Returns the size of a block's memory in bytes.
        std::uint64_t SizeOf(std::uint64_t groups, std::uint64_t positions) const;

        unsigned k, bucket_bits;
        /// How many of the lowest bits of a bucket's number are its number within the block. The other bits are the
        /// block's number.
        unsigned bits_in_block;
        bool has_rests;
    };
    const Shape& TableShape() const { return shape; }
    /// Whether the table holds the owner of foreign memory.
    bool IsForeign() const { return foreign.owner != nullptr; }
    /// See ForeignMemory; does nothing for a table that holds no owner.
    void RequireUnchanged() const {
        if (foreign.owner != nullptr) {
            foreign.owner->RequireUnchanged();
        }
    }

    std::size_t BlockCount() const { return blocks.size(); }
    unsigned BitsInBlock() const { return shape.bits_in_block; }

    /// Makes room in a block. `key_counts` has the number of minimizers of each bucket, and `position_count` is the
    /// number of positions of repeated minimizers. If `memory` is large enough, the block uses it, whatever it
    /// contains. Throws std::bad_alloc.
    void MakeRoom(std::size_t block, const std::vector<std::uint32_t>& key_counts, std::uint64_t position_count,
                  Pages memory = {});
    /// Returns the memory of a filled block. Nothing can be looked up in the block afterwards.
    Pages TakeMemory(std::size_t block) { return std::move(blocks[block].memory); }
    /// Returns the content of a filled block.
    BlockMemory ContentOf(std::size_t block) const;
    /// The array for the positions of a block's repeated minimizers, which the caller fills. A value gives the
    /// start of its list as an index into this array.
    std::uint64_t* Positions(std::size_t block) const { return blocks[block].positions; }
    /// A minimizer and its value, as in a prebuilt index, but the start of a list is an index into Positions of the
    /// block. The lowest bit of `key` shows whether the minimizer occurs once. The bits above it are the minimizer
    /// without its bucket's bits.
    struct Entry {
        std::uint64_t key, value;
    };
    /// Fills an empty bucket with `entries`, at most as many as MakeRoom made room for. Returns false if two entries
    /// have the same minimizer.
    bool Fill(std::uint64_t bucket, const std::vector<Entry>& entries);

    /// A look-up can miss the cache several times. Callers therefore interleave many look-ups: they call PrefetchKeys
    /// for all, then Slot, which prefetches the value, then AtSlot. PrefetchKeys is always inlined, because the
    /// compiler drops calls to functions that only prefetch.
    inline __attribute__((always_inline)) void PrefetchKeys(std::uint64_t minimizer) const {
        const auto& stretch = stretches[minimizer & bucket_mask];
        if (stretch.IsHashed()) {
            __builtin_prefetch(BlockOf(minimizer).keys +
                               GroupOf(stretch, minimizer >> shape.bucket_bits) * kGroupSlots);
        }
    }
    static constexpr std::uint64_t kNoSlot = UINT64_MAX;
    /// Returns the slot of a minimizer, or kNoSlot if the table does not have the minimizer.
    std::uint64_t Slot(std::uint64_t minimizer) const;
    /// Returns the positions of the minimizer in a slot and stores their number in `count`. Returns null if the list is
    /// empty or not within the block, which is possible only in foreign memory.
    const std::uint64_t* AtSlot(std::uint64_t minimizer, std::uint64_t slot, std::uint32_t& count) const;

    /// Whether each position lies in its sequence. Always true in a table that owns its memory, because its positions
    /// were computed or checked when it was filled.
    bool ArePossible(const std::uint64_t* positions, std::uint32_t count) const {
        return foreign.lengths == nullptr ||
               std::all_of(positions, positions + count, [this](auto position) { return IsPossible(position); });
    }

    /// A slot and its minimizer, put together from the key, the rest and the bucket.
    struct Stored {
        std::uint64_t slot, minimizer;
    };
    /// Returns the slots of a bucket that are not free, in ascending order, whatever their content.
    std::vector<Stored> MinimizersOf(std::uint64_t bucket) const;

    /// Returns one more than the lowest number of occurrences among the most frequent `fraction` of minimizers, exactly
    /// as minimap2's mm_idx_cal_max_occ computes it. Returns INT32_MAX if `fraction` is 0 or less, or the table is
    /// empty.
    std::int32_t OccurrenceThreshold(float fraction) const;

    /// Returns the table of an index that MakeIndex made, or null for an index that minimap2 made.
    static const SeedTable* Of(const mm_idx_t& index) { return static_cast<const SeedTable*>(index.h); }
    /// Makes the index own a table. The table takes the place of a hash table of sequence names, `h`, which this
    /// library never builds.
    static void Give(mm_idx_t& index, std::unique_ptr<const SeedTable> table);
    /// Frees the table of an index, if it has one.
    static void Drop(mm_idx_t& index);

private:
    static constexpr unsigned kMostKeyBits = 30;
    static constexpr std::uint32_t kFree = UINT32_MAX;  // Never equals a key: the highest bit of a key is 0.
    static constexpr std::uint32_t kGroupSlots = 16;
    // The highest average in a bucket. With it, few groups overflow and, in large buckets, few slots stay free.
    static constexpr std::uint32_t kKeysPerGroup = 14;

    struct Block {
        // Pointers into `memory` or foreign memory. Their targets are written to only while the table is being filled.
        std::uint32_t* keys = nullptr;
        std::uint32_t* rests = nullptr;
        std::uint64_t* values = nullptr;
        std::uint64_t* positions = nullptr;
        std::uint64_t groups = 0;
        std::uint64_t position_count = 0;
        Pages memory;
        // `rare[i]` minimizers occur `i` times. `frequent` maps each number of occurrences above kMostRare to the
        // number of minimizers that have it.
        std::vector<std::uint32_t> rare;
        std::map<std::uint64_t, std::uint32_t> frequent;
    };

    static bool FillHashed(const std::vector<Entry>& entries, const Stretch& stretch, Block& block);
    static bool FillSorted(std::vector<Entry> entries, const Stretch& stretch, Block& block);
    static void Put(const Entry& entry, Block& block, std::uint64_t slot);
    std::uint64_t SortedSlot(std::uint64_t minimizer) const;
    // `position` is in minimap2's format: number of the sequence, 0-based position of the k-mer's last base, strand.
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
    // Returns the key and rest of a slot as one number, or the highest number for a free slot.
    static std::uint64_t KeyBitsAt(const Block& block, std::uint64_t slot) {
        const auto rest = block.rests != nullptr ? std::uint64_t{block.rests[slot]} << kMostKeyBits : 0;
        return block.keys[slot] == kFree ? UINT64_MAX : rest | block.keys[slot] >> 1U;
    }
    static bool HasFreeSlot(const Block& block, std::uint64_t group) {
        return block.keys[group * kGroupSlots + kGroupSlots - 1] == kFree;
    }
    static unsigned SlotsWith(const Block& block, std::uint64_t group, std::uint64_t key_bits);

    // In all functions, `key_bits` is a minimizer without its bucket's bits.
    static std::uint64_t GroupOf(const Stretch& stretch, std::uint64_t key_bits) {
        const auto fraction = static_cast<std::uint32_t>(key_bits * 0x9E3779B1U);
        return stretch.begin + (std::uint64_t{fraction} * stretch.groups >> 32U);
    }
    const Block& BlockOf(std::uint64_t bucket) const { return blocks[(bucket & bucket_mask) >> shape.bits_in_block]; }

    const Shape shape;
    const std::uint64_t bucket_mask;
    std::vector<Stretch> own_stretches;  // One for each bucket; empty if `stretches` are foreign.
    const Stretch* stretches;
    std::vector<Block> blocks;
    std::vector<std::uint32_t> lengths;  // A copy of `foreign.lengths`, because foreign memory may change.
    Parts foreign;                       // Has no owner if all memory is the table's own.
    mutable std::once_flag counted;
    mutable std::vector<OccurrenceCount> counts;  // Of all blocks. Complete once `counted` is set.
    mutable std::vector<std::uint64_t> ranks;     // For each of `counts`, how many minimizers occur at most that often.
};

}  // namespace qel_minimap2
