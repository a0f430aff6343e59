#pragma once

#include <cstdint>

#include <mmpriv.h>

#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// The arguments of minimap2's mm_collect_matches, which finds the seeds among a read's minimizers.
struct SeedCall {
    void* pool;  ///< The kalloc pool of the returned lists; null for malloc.
    const mm128_v& minimizers;
    int read_length;
    int most_occurrences;  ///< A minimizer that occurs more often in the index is normally not used as a seed.
    /// In stretches of the read without seeds, the rarest minimizers are still used, about one for every `distance`
    /// bases, unless they occur more than this many times.
    int most_occurrences_of_any;
    int distance;
};

/// The results of mm_collect_matches.
struct Seeds {
    int count;
    mm_seed_t* seeds;
    std::int64_t position_count;  ///< The total number of the seeds' positions in the index.
    int repetitive_bases;         ///< Bases of the read covered by minimizers that occur too often.
    int minimizer_count;          ///< Equals `count`.
    /// For each seed: its span in bases (upper 32 bits) and the 0-based position of its last base in the read (lower
    /// 32).
    std::uint64_t* minimizer_places;
};

/// Does the work of mm_collect_matches, using `table`. Prefetches what the next minimizers need, because otherwise
/// most of the time would be spent waiting for memory. Any thread.
Seeds CollectSeeds(const SeedCall& call, const SeedTable& table);

/// Returns whether minimap2's mm_seed_mz_flt may remove minimizers of a read: those that occur more than `most` times
/// among `minimizers` and make up more than `fraction` of them. The result is nearly always false for a read without
/// repeats, so the call to mm_seed_mz_flt, which sorts the minimizers, is usually unnecessary.
bool MayHaveFrequent(const mm128_v& minimizers, int most, float fraction);

/// Returns whether CollectSeeds has dropped a seed in this thread since the previous call of this function. A seed is
/// dropped if its list of positions is empty or not within its block, or if a position is not within its sequence.
bool TookImpossibleHits();

}  // namespace qel_minimap2
