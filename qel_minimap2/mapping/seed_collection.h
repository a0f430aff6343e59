#pragma once

#include <cstdint>

#include <mmpriv.h>

#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// The arguments of minimap2's mm_collect_matches, which finds the seeds among a read's minimizers.
struct SeedCall {
    void* pool;  ///< Where the returned lists are allocated.
    const mm128_v& minimizers;
    int read_length;
    int most_occurrences;  ///< A minimizer that occurs more often in the index is not a seed.
    /// Where `distance` bases of the read have no seed, the rarest minimizers among them become seeds after all, if
    /// they occur no more often than this.
    int most_occurrences_of_any;
    int distance;
};

/// The results of mm_collect_matches.
struct Seeds {
    int count;
    mm_seed_t* seeds;
    std::int64_t position_count;      ///< Number of positions of all seeds in the index.
    int repetitive_bases;             ///< Bases of the read under minimizers that occur too often.
    int minimizer_count;              ///< As many as there are seeds.
    std::uint64_t* minimizer_places;  ///< Where they are in the read: span (upper 32 bits), last base.
};

/// Returns what mm_collect_matches does. Prefetches table and positions some minimizers ahead: minimap2 spends most of
/// this time waiting for memory. Any thread.
Seeds CollectSeeds(const SeedCall& call, const SeedTable& table);

/// Whether minimap2's mm_seed_mz_flt, which sorts a read's minimizers, may remove any: one that occurs more than `most`
/// times and in more than `fraction` of the list. Nearly always false for a read without repeats.
bool MayHaveFrequent(const mm128_v& minimizers, int most, float fraction);

/// Whether CollectSeeds has found lists or positions that no index holds, and has left them out, on this thread since
/// the last call.
bool TookImpossibleHits();

}  // namespace qel_minimap2
