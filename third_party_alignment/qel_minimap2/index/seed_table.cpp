#include "third_party_alignment/qel_minimap2/index/seed_table.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <malloc.h>

#include "third_party_alignment/qel_minimap2/index/index_buckets.h"

namespace qel_minimap2 {

namespace {

// How often memory is given back to the system while the library's tables are replaced: more would cost time.
constexpr std::uint64_t kTrims = 4;

// Seven of ten slots are taken, and one is free in each stretch: it ends the search for a key that is not there.
std::uint64_t SlotsFor(std::uint64_t keys) {
    return keys * 10 / 7 + 1;
}

std::uint64_t Occurrences(std::uint64_t key, std::uint64_t value) {
    return (key & 1U) != 0 ? 1 : value & 0xFFFFFFFFU;
}

}  // namespace

thread_local const SeedTable* LookUpsAhead::table = nullptr;

SeedTable::SeedTable(unsigned bucket_bits, const std::vector<std::uint32_t>& key_counts)
    : bucket_bits(bucket_bits), bucket_mask((std::uint64_t{1} << bucket_bits) - 1) {
    begins.reserve(key_counts.size() + 1);
    std::uint64_t slots = 0;
    for (const auto count : key_counts) {
        begins.push_back(slots);
        slots += count > 0 ? SlotsFor(count) : 0;
    }
    begins.push_back(slots);
    // The values are left as they are: their memory comes when a key needs it.
    keys = std::make_unique_for_overwrite<std::uint32_t[]>(slots);
    values = std::make_unique_for_overwrite<std::uint64_t[]>(slots);
    std::fill_n(keys.get(), slots, kFree);
}

bool SeedTable::Insert(std::uint64_t bucket, std::uint64_t key, std::uint64_t value) {
    const auto stretch = StretchOf(bucket);
    auto slot = stretch.SlotOf(key >> 1U);
    for (; keys[slot] != kFree; slot = stretch.After(slot)) {
        if (keys[slot] >> 1U == key >> 1U) {
            return false;
        }
    }
    keys[slot] = static_cast<std::uint32_t>(key);
    values[slot] = value;
    return true;
}

const std::uint64_t* SeedTable::Find(const mm_idx_t& index, std::uint64_t minimizer, int& count) const {
    count = 0;
    const std::uint64_t bucket = minimizer & bucket_mask;
    const std::uint64_t key_bits = minimizer >> bucket_bits;
    const auto stretch = StretchOf(bucket);
    if (stretch.size == 0) {
        return nullptr;
    }
    for (auto slot = stretch.SlotOf(key_bits); keys[slot] != kFree; slot = stretch.After(slot)) {
        if (keys[slot] >> 1U == key_bits) {
            const auto& value = values[slot];
            count = static_cast<int>(Occurrences(keys[slot], value));
            return (keys[slot] & 1U) != 0 ? &value : BucketsOf(index)[bucket].positions + (value >> 32U);
        }
    }
    return nullptr;
}

std::int32_t SeedTable::OccurrenceThreshold(float fraction) const {
    // Few minimizers are frequent: those are sorted, the others only counted.
    constexpr std::size_t kCounted = 1024;
    std::vector<std::uint64_t> counted(kCounted);
    std::vector<std::uint32_t> frequent;
    std::uint64_t total = 0;
    for (std::uint64_t slot = 0; slot < begins.back(); ++slot) {
        if (keys[slot] == kFree) {
            continue;
        }
        ++total;
        if (const auto occurrences = Occurrences(keys[slot], values[slot]); occurrences < kCounted) {
            ++counted[occurrences];
        } else {
            frequent.push_back(static_cast<std::uint32_t>(occurrences));
        }
    }
    if (fraction <= 0.0F || total == 0) {
        return INT32_MAX;
    }
    std::uint64_t rank = static_cast<std::uint32_t>((1.0 - fraction) * static_cast<double>(total));
    rank = std::min(rank, total - 1);
    for (std::size_t occurrences = 0; occurrences < kCounted; ++occurrences) {
        if (rank < counted[occurrences]) {
            return static_cast<std::int32_t>(occurrences) + 1;
        }
        rank -= counted[occurrences];
    }
    const auto place = frequent.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(frequent.begin(), place, frequent.end());
    return static_cast<std::int32_t>(*place) + 1;
}

void SeedTable::Give(mm_idx_t& index, std::unique_ptr<const SeedTable> table) {
    Drop(index);
    index.h = const_cast<SeedTable*>(table.release());  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

void SeedTable::Drop(mm_idx_t& index) {
    delete Of(index);  // NOLINT(cppcoreguidelines-owning-memory)
    index.h = nullptr;
}

void SeedTable::Replace(mm_idx_t& index) {
    auto* const buckets = BucketsOf(index);
    const auto bucket_count = std::uint64_t{1} << static_cast<unsigned>(index.b);
    std::vector<std::uint32_t> key_counts(bucket_count);
    for (std::uint64_t bucket = 0; bucket < bucket_count; ++bucket) {
        const auto* const table = static_cast<const MinimizerTable*>(buckets[bucket].table);
        key_counts[bucket] = table != nullptr ? kh_size(table) : 0;
    }
    auto flat = std::make_unique<SeedTable>(static_cast<unsigned>(index.b), key_counts);
    for (std::uint64_t bucket = 0; bucket < bucket_count; ++bucket) {
        auto* const table = static_cast<MinimizerTable*>(std::exchange(buckets[bucket].table, nullptr));
        for (khint_t slot = 0; table != nullptr && slot != kh_end(table); ++slot) {
            if (kh_exist(table, slot)) {
                flat->Insert(bucket, kh_key(table, slot), kh_val(table, slot));
            }
        }
        kh_destroy(minimizers, table);
        if ((bucket + 1) % std::max<std::uint64_t>(bucket_count / kTrims, 1) == 0) {
            ::malloc_trim(0);  // Or the two would be there together.
        }
    }
    Give(index, std::move(flat));
}

}  // namespace qel_minimap2
