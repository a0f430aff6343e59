#pragma once

#include <cstdint>

#include <mmpriv.h>

#include "third_party_alignment/qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// What the library's mm_collect_matches is asked for: which of a read's minimizers are seeds.
struct SeedCall {
    void* pool;  ///< Where the lists that are returned come from.
    const mm_idx_t& index;
    const mm128_v& minimizers;
    int read_length;
    int most_occurrences;         ///< A minimizer that occurs more often in the index is no seed,
    int most_occurrences_of_any;  ///< unless it is one of the rarest where there are no others for `distance` bases.
    int distance;
};

/// What it returns.
struct Seeds {
    int count;
    mm_seed_t* seeds;
    std::int64_t position_count;      ///< In the index, of all seeds.
    int repetitive_bases;             ///< Of the read, under minimizers that occur too often.
    int minimizer_count;              ///< As many as seeds,
    std::uint64_t* minimizer_places;  ///< and where they are: span (upper 32 bits), last base.
};

/// As mm_collect_matches, but the table's and the positions' memory is fetched some minimizers before it is needed. Any
/// thread.
Seeds CollectSeeds(const SeedCall& call, const SeedTable& table);

}  // namespace qel_minimap2
