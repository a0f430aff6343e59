#include "qel_minimap2/mapping/seed_collection.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <utility>

#include <kalloc.h>

// Marks seeds that occur too often, except the rarest ones in stretches of the read without other seeds. minimap2's
// headers do not declare this function.
extern "C" void mm_seed_select(std::int32_t n, mm_seed_t* a, int len, int max_occ, int max_max_occ, int dist);

namespace qel_minimap2 {

namespace {

// Batch size of interleaved look-ups: large enough to hide a cache miss, small enough that prefetched lines are still
// cached when used.
constexpr std::size_t kBatch = 32;

// The code prefetches the first four cache lines of a list of positions, kSeedsAhead seeds in advance. The processor
// itself prefetches the rest of a longer list.
constexpr std::uint32_t kPositionsInLine = 8;
constexpr std::uint32_t kFetchedPositions = 4 * kPositionsInLine;
constexpr std::ptrdiff_t kSeedsAhead = 16;

thread_local bool has_impossible_hits = false;

template <typename T>
T* Allocate(void* pool, std::size_t count) {
    return static_cast<T*>(kmalloc(pool, count * sizeof(T)));
}

std::uint64_t HashOf(const mm128_t& minimizer) {
    return minimizer.x >> 8U;
}

// Returns the seed of minimizer `i`, whose slot in the table is `slot`. The seed's `cr` is null if the table returns no
// list for the slot (see SeedTable::AtSlot).
mm_seed_t SeedOf(const mm128_v& minimizers, std::size_t i, const SeedTable& table, std::uint64_t slot) {
    const auto& minimizer = minimizers.a[i];
    const auto is_like = [&](std::size_t other) { return HashOf(minimizers.a[other]) == HashOf(minimizer); };
    std::uint32_t occurrences = 0;
    mm_seed_t seed{};
    seed.cr = table.AtSlot(HashOf(minimizer), slot, occurrences);
    seed.n = occurrences;
    seed.q_pos = static_cast<std::uint32_t>(minimizer.y);
    seed.q_span = minimizer.x & 255U;
    seed.seg_id = minimizer.y >> 32U & 0x7FFFFFFFU;
    seed.is_tandem = (i > 0 && is_like(i - 1)) || (i + 1 < minimizers.n && is_like(i + 1)) ? 1 : 0;
    if (seed.cr == nullptr) {
        has_impossible_hits = true;
    }
    return seed;
}

// Writes a seed for each minimizer that occurs in the index, except those without a valid list of positions, and
// returns the number of seeds.
int LookUpAll(const mm128_v minimizers, const SeedTable& table, mm_seed_t* seeds) {
    const auto count = minimizers.n;
    auto* next = seeds;
    std::array<std::uint64_t, kBatch> slots{};
    for (std::size_t i = 0; i < std::min(count, kBatch); ++i) {
        table.PrefetchKeys(HashOf(minimizers.a[i]));
    }
    for (std::size_t first = 0; first < count; first += kBatch) {
        const auto end = std::min(first + kBatch, count);
        for (std::size_t i = first; i < end; ++i) {
            if (i + kBatch < count) {
                table.PrefetchKeys(HashOf(minimizers.a[i + kBatch]));
            }
            slots[i - first] = table.Slot(HashOf(minimizers.a[i]));
        }
        for (std::size_t i = first; i < end; ++i) {
            if (slots[i - first] != SeedTable::kNoSlot) {
                *next = SeedOf(minimizers, i, table, slots[i - first]);
                next += next->cr != nullptr ? 1 : 0;
            }
        }
    }
    return static_cast<int>(next - seeds);
}

void PrefetchPositions(const mm_seed_t& seed) {
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(seed.n, kFetchedPositions); i += kPositionsInLine) {
        __builtin_prefetch(seed.cr + i);
    }
}

}  // namespace

Seeds CollectSeeds(const SeedCall& call, const SeedTable& table) {
    auto* const all = Allocate<mm_seed_t>(call.pool, call.minimizers.n);
    Seeds result{0, all, 0, 0, 0, Allocate<std::uint64_t>(call.pool, call.minimizers.n)};
    const int count = LookUpAll(call.minimizers, table, all);
    if (call.distance > 0 && call.most_occurrences_of_any > call.most_occurrences) {
        mm_seed_select(count, all, call.read_length, call.most_occurrences, call.most_occurrences_of_any,
                       call.distance);
    } else {
        std::for_each(all, all + count, [&](mm_seed_t& seed) {
            seed.flt = seed.n > static_cast<std::uint32_t>(call.most_occurrences) ? 1 : 0;
        });
    }
    int begin = 0;
    int end = 0;
    // minimap2 reads the positions of all seeds right after this loop. Positions prefetched earlier, during the
    // look-ups, would be in the cache too, but the page table's entries for them would have been evicted from the TLB.
    for (const auto* seed = all; seed != all + count; ++seed) {
        if (seed - all + kSeedsAhead < count && seed[kSeedsAhead].flt == 0) {
            PrefetchPositions(seed[kSeedsAhead]);
        }
        const int seed_end = static_cast<int>(seed->q_pos >> 1U) + 1;
        const int seed_begin = seed_end - static_cast<int>(seed->q_span);
        if (seed->flt == 0 && !table.ArePossible(seed->cr, seed->n)) {
            has_impossible_hits = true;
        } else if (seed->flt == 0) {
            result.position_count += seed->n;
            result.minimizer_places[result.minimizer_count++] =
                static_cast<std::uint64_t>(seed->q_span) << 32U | seed->q_pos >> 1U;
            all[result.count++] = *seed;
        } else {
            if (seed_begin > end) {
                result.repetitive_bases += end - begin;
                begin = seed_begin;
            }
            end = seed_end;
        }
    }
    result.repetitive_bases += end - begin;
    return result;
}

bool MayHaveFrequent(const mm128_v& minimizers, int most, float fraction) {
    // Counts minimizers by the lowest bits of their hashes. Different minimizers with the same bits share a count,
    // which can only make it too high.
    constexpr std::size_t kMostCounts = 4096;
    std::array<std::uint32_t, kMostCounts> counts;  // NOLINT(cppcoreguidelines-pro-type-member-init): few are used.
    const auto used = std::min(std::bit_ceil(minimizers.n), kMostCounts);
    std::fill_n(counts.begin(), used, 0);
    std::uint32_t highest = 0;
    for (std::size_t i = 0; i < minimizers.n; ++i) {
        highest = std::max(highest, ++counts[HashOf(minimizers.a[i]) & (used - 1)]);
    }
    return highest > static_cast<std::int64_t>(most) &&
           static_cast<float>(highest) > static_cast<float>(minimizers.n) * fraction;
}

bool TookImpossibleHits() {
    return std::exchange(has_impossible_hits, false);
}

}  // namespace qel_minimap2
