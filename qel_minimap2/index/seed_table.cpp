#include "qel_minimap2/index/seed_table.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#if defined(__x86_64__)
#include <emmintrin.h>
#else  // SIMDe translates SSE2 for this processor.
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/sse2.h>
#endif

namespace qel_minimap2 {

namespace {

constexpr unsigned kMostBlockBits = 8;
constexpr unsigned kLeastBitsInBlock = 6;
// If a stretch in foreign memory changed, look-ups could leave that memory. The table therefore copies the stretches.
// With more bucket bits than this, the copy would take more than a megabyte, so none is made.
constexpr unsigned kMostCopiedBits = 17;
// Minimizers are hashes, so long runs of full groups are rare. Only input made to slow down look-ups has a run longer
// than this limit; random bases have runs of up to 50 groups.
constexpr unsigned kMostFullGroups = 256;
constexpr std::size_t kMostRare = 255;

bool IsSingle(std::uint64_t key) {
    return (key & 1U) != 0;
}

}  // namespace

SeedTable::Shape::Shape(unsigned k, unsigned bucket_bits)
    : k(k),
      bucket_bits(bucket_bits),
      bits_in_block(std::min(
          std::max(bucket_bits > kMostBlockBits ? bucket_bits - kMostBlockBits : 0, kLeastBitsInBlock), bucket_bits)),
      has_rests(2 * k - bucket_bits > kMostKeyBits) {}

std::uint64_t SeedTable::Shape::SizeOf(std::uint64_t groups, std::uint64_t positions) const {
    const auto slots = groups * kGroupSlots;
    return slots * sizeof(std::uint32_t) * (has_rests ? 2 : 1) + (slots + positions) * sizeof(std::uint64_t);
}

SeedTable::SeedTable(unsigned k, unsigned bucket_bits)
    : shape(k, bucket_bits),
      bucket_mask((std::uint64_t{1} << bucket_bits) - 1),
      own_stretches(std::size_t{1} << bucket_bits),
      stretches(own_stretches.data()),
      blocks(shape.BlockCount()),
      foreign() {}

SeedTable::SeedTable(unsigned k, unsigned bucket_bits, Parts parts)
    : shape(k, bucket_bits),
      bucket_mask((std::uint64_t{1} << bucket_bits) - 1),
      own_stretches(parts.stretches, parts.stretches + (bucket_bits <= kMostCopiedBits ? bucket_mask + 1 : 0)),
      stretches(own_stretches.empty() ? parts.stretches : own_stretches.data()),
      blocks(shape.BlockCount()),
      lengths(parts.lengths, parts.lengths + parts.sequences),
      foreign(std::move(parts)) {
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        SetArrays(blocks[i], foreign.blocks[i]);
    }
}

SeedTable::Parts SeedTable::AllParts() const {
    Parts parts{nullptr, stretches, {}, Counts(), nullptr, 0};
    for (std::size_t block = 0; block < blocks.size(); ++block) {
        parts.blocks.push_back(ContentOf(block));
    }
    return parts;
}

SeedTable::BlockMemory SeedTable::ContentOf(std::size_t block) const {
    const auto& content = blocks[block];
    return {reinterpret_cast<const unsigned char*>(content.keys), content.groups, content.position_count};
}

void SeedTable::SetArrays(Block& block, const BlockMemory& memory) const {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): nothing writes to foreign memory.
    block.keys = reinterpret_cast<std::uint32_t*>(const_cast<unsigned char*>(memory.data));
    block.groups = memory.groups;
    block.position_count = memory.positions;
    const auto slots = memory.groups * kGroupSlots;
    block.rests = shape.has_rests ? block.keys + slots : nullptr;
    block.values = reinterpret_cast<std::uint64_t*>(block.keys + (shape.has_rests ? 2 : 1) * slots);
    block.positions = block.values + slots;
}

// Returns one bit for each slot of a group: whether the slot has the key and rest in `key_bits`. The lowest bit of a
// stored key is ignored.
inline __attribute__((always_inline)) unsigned SeedTable::SlotsWith(const Block& block, std::uint64_t group,
                                                                    std::uint64_t key_bits) {
    const auto* const keys = reinterpret_cast<const __m128i*>(block.keys + group * kGroupSlots);
    const auto key = static_cast<std::uint32_t>(key_bits << 1U) & ((2U << kMostKeyBits) - 1);
    const __m128i wanted = _mm_set1_epi32(static_cast<std::int32_t>(key | 1U));
    const __m128i ones = _mm_set1_epi32(1);
    const auto equal = [&](int four) __attribute__((always_inline)) {
        return _mm_cmpeq_epi32(_mm_or_si128(_mm_load_si128(keys + four), ones), wanted);
    };
    const __m128i low = _mm_packs_epi32(equal(0), equal(1)), high = _mm_packs_epi32(equal(2), equal(3));
    auto slots = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    if (slots != 0 && block.rests != nullptr) {
        for (auto left = slots; left != 0; left &= left - 1) {
            const auto slot = static_cast<unsigned>(__builtin_ctz(left));
            if (block.rests[group * kGroupSlots + slot] != key_bits >> kMostKeyBits) {
                slots &= ~(1U << slot);
            }
        }
    }
    return slots;
}

void SeedTable::MakeRoom(std::size_t block, const std::vector<std::uint32_t>& key_counts, std::uint64_t position_count,
                         Pages memory) {
    std::uint64_t groups = 0;
    for (std::size_t i = 0; i < key_counts.size(); ++i) {
        // A bucket gets more slots than it has keys, so a search for a missing key ends at a free slot.
        const auto needed = key_counts[i] > 0 ? key_counts[i] / kKeysPerGroup + 1 : 0;
        own_stretches[(block << shape.bits_in_block) + i] = {static_cast<std::uint32_t>(groups), needed};
        groups += needed;
    }
    if (groups > std::numeric_limits<std::uint32_t>::max() ||
        position_count > std::numeric_limits<std::uint32_t>::max()) {
        throw std::bad_alloc();
    }
    auto& target = blocks[block];
    const auto size = shape.SizeOf(groups, position_count);
    const bool is_used = memory.Size() > 0 && memory.Size() >= size;
    if (!is_used) {
        memory = Pages(size);
        memory.Touch();
    }
    target.memory = std::move(memory);
    SetArrays(target, {target.memory.Data(), groups, position_count});
    if (groups > 0) {
        const auto slots = groups * kGroupSlots;
        std::memset(target.keys, 0xff, slots * sizeof kFree);
        if (is_used) {  // The caller overwrites all positions, but Fill does not write all rests and values.
            std::memset(target.keys + slots, 0, shape.SizeOf(groups, 0) - slots * sizeof kFree);
        }
    }
    target.rare.assign(kMostRare + 1, 0);
}

bool SeedTable::Fill(std::uint64_t bucket, const std::vector<Entry>& entries) {
    auto& block = blocks[bucket >> shape.bits_in_block];
    auto& stretch = own_stretches[bucket];
    CountOccurrences(block, entries);
    if (FillHashed(entries, stretch, block)) {
        return !HasDuplicate(entries, stretch, block);
    }
    const bool filled = FillSorted(entries, stretch, block);
    stretch.groups |= Stretch::kSorted;
    return filled;
}

inline __attribute__((always_inline)) void SeedTable::Put(const Entry& entry, Block& block, std::uint64_t slot) {
    block.keys[slot] = static_cast<std::uint32_t>(entry.key) & ((2U << kMostKeyBits) - 1);
    block.values[slot] = entry.value;
    if (block.rests != nullptr) {
        block.rests[slot] = static_cast<std::uint32_t>(entry.key >> (kMostKeyBits + 1));
    }
}

// Returns false if a run of full groups is too long. Counts the taken slots of each group, because a search for a free
// slot among the keys would wait for the previous write.
bool SeedTable::FillHashed(const std::vector<Entry>& entries, const Stretch& stretch, Block& block) {
    std::vector<std::uint8_t> taken(stretch.groups);
    for (const auto& entry : entries) {
        auto group = GroupOf(stretch, entry.key >> 1U);
        for (unsigned full = 0; taken[group - stretch.begin] == kGroupSlots; ++full) {
            if (full > kMostFullGroups) {
                return false;
            }
            group = stretch.After(group);
        }
        Put(entry, block, group * kGroupSlots + taken[group - stretch.begin]++);
    }
    return true;
}

// Fills the first slots of the stretch in ascending order of the keys and clears the others, which FillHashed may have
// filled. Returns false for a duplicate.
bool SeedTable::FillSorted(std::vector<Entry> entries, const Stretch& stretch, Block& block) {
    const auto key_bits = [](const Entry& entry) { return entry.key >> 1U; };
    std::sort(entries.begin(), entries.end(), [&](const auto& a, const auto& b) { return key_bits(a) < key_bits(b); });
    auto slot = std::uint64_t{stretch.begin} * kGroupSlots;
    const auto slots = std::size_t{stretch.groups} * kGroupSlots;
    std::fill_n(block.keys + slot, slots, kFree);
    std::fill_n(block.values + slot, slots, 0);
    if (block.rests != nullptr) {
        std::fill_n(block.rests + slot, slots, 0);
    }
    for (const auto& entry : entries) {
        Put(entry, block, slot++);
    }
    return std::adjacent_find(entries.begin(), entries.end(), [&](const auto& a, const auto& b) {
               return key_bits(a) == key_bits(b);
           }) == entries.end();
}

// Looks up only keys that share a bit of `seen` with an earlier key. On average, at most one key in 16 does.
bool SeedTable::HasDuplicate(const std::vector<Entry>& entries, const Stretch& stretch, const Block& block) {
    constexpr std::size_t kBitsPerKey = 8;
    const auto bits = std::bit_ceil(std::max<std::size_t>(entries.size() * kBitsPerKey, 64));
    std::vector<std::uint64_t> seen(bits / 64);
    return std::any_of(entries.begin(), entries.end(), [&](const Entry& entry) {
        const auto bit = (entry.key >> 1U ^ entry.key >> (kMostKeyBits + 1)) & (bits - 1);
        auto& word = seen[bit / 64];
        const bool is_new = (word >> bit % 64 & 1U) == 0;
        word |= std::uint64_t{1} << bit % 64;
        return !is_new && !IsOnce(entry.key >> 1U, stretch, block);
    });
}

// Equal keys are in the same group or in groups with only full groups between them.
bool SeedTable::IsOnce(std::uint64_t key_bits, const Stretch& stretch, const Block& block) {
    bool found = false;
    auto group = GroupOf(stretch, key_bits);
    // FillHashed never puts a key after more full groups than this loop passes.
    for (unsigned full = 0; full <= kMostFullGroups + 1; ++full, group = stretch.After(group)) {
        const auto equal = SlotsWith(block, group, key_bits);
        if ((equal & (equal - 1)) != 0 || (found && equal != 0)) {
            return false;
        }
        found |= equal != 0;
        if (HasFreeSlot(block, group)) {
            break;
        }
    }
    return true;
}

void SeedTable::CountOccurrences(Block& block, const std::vector<Entry>& entries) {
    std::uint32_t repeated = 0;
    for (const auto& [key, value] : entries) {
        if (IsSingle(key)) {
            continue;
        }
        ++repeated;
        if (const auto occurrences = value & 0xFFFFFFFFU; occurrences < block.rare.size()) {
            ++block.rare[occurrences];
        } else {
            ++block.frequent[occurrences];
        }
    }
    block.rare[1] += static_cast<std::uint32_t>(entries.size()) - repeated;
}

std::uint64_t SeedTable::Slot(std::uint64_t minimizer) const {
    const auto& stretch = stretches[minimizer & bucket_mask];
    if (!stretch.IsHashed()) {
        return SortedSlot(minimizer);
    }
    const auto& block = BlockOf(minimizer);
    const auto key_bits = minimizer >> shape.bucket_bits;
    auto group = GroupOf(stretch, key_bits);
    // FillHashed never puts a key after more full groups than this loop passes.
    for (unsigned full = 0; full <= kMostFullGroups + 1; ++full, group = stretch.After(group)) {
        if (const auto found = SlotsWith(block, group, key_bits); found != 0) {
            const auto slot = group * kGroupSlots + static_cast<unsigned>(__builtin_ctz(found));
            __builtin_prefetch(block.values + slot);
            return slot;
        }
        if (HasFreeSlot(block, group)) {
            break;
        }
    }
    return kNoSlot;
}

// Looks up a minimizer in a bucket that is sorted or has no minimizers.
std::uint64_t SeedTable::SortedSlot(std::uint64_t minimizer) const {
    const auto& stretch = stretches[minimizer & bucket_mask];
    const auto& block = BlockOf(minimizer);
    const auto key_bits = minimizer >> shape.bucket_bits;
    auto begin = std::uint64_t{stretch.begin} * kGroupSlots;
    auto end = begin + std::uint64_t{stretch.Groups()} * kGroupSlots;
    while (begin < end) {
        const auto middle = begin + (end - begin) / 2;
        const auto at_middle = KeyBitsAt(block, middle);
        if (at_middle == key_bits) {
            return middle;
        }
        (at_middle < key_bits ? begin : end) = at_middle < key_bits ? middle + 1 : middle;
    }
    return kNoSlot;
}

const std::uint64_t* SeedTable::AtSlot(std::uint64_t minimizer, std::uint64_t slot, std::uint32_t& count) const {
    const auto& block = BlockOf(minimizer);
    const auto& value = block.values[slot];
    if (IsSingle(block.keys[slot])) {
        count = 1;
        return &value;
    }
    const auto begin = value >> 32U;
    count = static_cast<std::uint32_t>(value);
    return count > 0 && begin + count <= block.position_count ? block.positions + begin : nullptr;
}

std::vector<SeedTable::Stored> SeedTable::MinimizersOf(std::uint64_t bucket) const {
    const auto& block = BlockOf(bucket);
    const auto& stretch = stretches[bucket];
    std::vector<Stored> stored;
    const auto begin = std::uint64_t{stretch.begin} * kGroupSlots;
    for (auto slot = begin; slot < begin + std::uint64_t{stretch.Groups()} * kGroupSlots; ++slot) {
        if (block.keys[slot] != kFree) {
            stored.push_back({slot, KeyBitsAt(block, slot) << shape.bucket_bits | bucket});
        }
    }
    return stored;
}

const std::vector<SeedTable::OccurrenceCount>& SeedTable::Counts() const {
    std::call_once(counted, [this] {
        counts = foreign.counts;  // An earlier call may have run out of memory after it added counts.
        ranks.clear();
        std::vector<std::uint64_t> rare(kMostRare + 1);
        std::map<std::uint64_t, std::uint64_t> frequent;
        for (const auto& block : blocks) {
            for (std::size_t i = 0; i < block.rare.size(); ++i) {
                rare[i] += block.rare[i];
            }
            for (const auto& [occurrences, minimizers] : block.frequent) {
                frequent[occurrences] += minimizers;
            }
        }
        for (std::size_t i = 0; i < rare.size(); ++i) {
            if (rare[i] > 0) {
                counts.push_back({i, rare[i]});
            }
        }
        for (const auto& [occurrences, minimizers] : frequent) {
            counts.push_back({occurrences, minimizers});
        }
        std::uint64_t end = 0;
        for (const auto& count : counts) {
            ranks.push_back(end += count.minimizers);
        }
    });
    return counts;
}

std::int32_t SeedTable::OccurrenceThreshold(float fraction) const {
    const auto& all = Counts();
    if (fraction <= 0.0F || all.empty()) {
        return INT32_MAX;
    }
    const std::uint64_t rank = static_cast<std::uint32_t>((1.0 - fraction) * static_cast<double>(ranks.back()));
    const auto end = std::upper_bound(ranks.begin(), ranks.end(), std::min(rank, ranks.back() - 1));
    return static_cast<std::int32_t>(all[static_cast<std::size_t>(end - ranks.begin())].occurrences) + 1;
}

void SeedTable::Give(mm_idx_t& index, std::unique_ptr<const SeedTable> table) {
    Drop(index);
    index.h = const_cast<SeedTable*>(table.release());  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

void SeedTable::Drop(mm_idx_t& index) {
    delete Of(index);  // NOLINT(cppcoreguidelines-owning-memory)
    index.h = nullptr;
}

}  // namespace qel_minimap2
