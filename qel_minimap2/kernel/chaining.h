#pragma once

#include <cstdint>

#include <minimap.h>

namespace qel_minimap2::kernel {

/// Anchors to be chained, as the library has them: x holds strand, sequence and position in the reference, y in its
/// lowest 32 bits the position in the read, in the next 8 the anchor's length; sorted by x. What a call returns, it
/// returns as the library does: the anchors of all chains, one chain after the other, and for each chain its score
/// (upper 32 bits) and length.
struct Chains {
    void* pool;  ///< The library's allocator, which all lists here come from.
    std::int64_t count;
    mm128_t* anchors;
    int chain_count;
    std::uint64_t* chains;
};

/// What both ways to chain have in common.
struct ChainScoring {
    int band;  ///< How far two neighbours' diagonals may lie apart.
    int most_skipped;
    int least_anchors, least_score;  ///< Of a chain that is kept.
    float gap_penalty, skip_penalty;
};

/// The arguments of the library's mg_lchain_dp: each anchor follows the best of those before it.
struct ChainCall {
    int reference_distance, read_distance;
    int most_tried;
    ChainScoring scoring;
};

/// The arguments of the library's mg_lchain_rmq: each anchor follows the one with the least penalty of all in reach, or
/// the best of those that are near.
struct JoinCall {
    int distance, near_distance;
    int most_in_reach;
    ChainScoring scoring;
};

/// What is known of each anchor once all are scored, and room for the way back, `count` entries each. All of it is used
/// up.
struct ChainedAnchors {
    std::int32_t* previous;  ///< The one before it in the best chain that ends here, or -1.
    std::int32_t* scores;    ///< Of that chain, 0 or more.
    std::int32_t* members;   ///< Room.
    mm128_t* room;           ///< Room. `previous` and `scores` may lie in its second half.
};

/// Traces the chains back and puts their anchors in order, in the place of all anchors.
void TakeChains(const ChainScoring& scoring, const ChainedAnchors& scored, Chains& chains);

/// Chains with eight candidates at a time; what comes out is what mg_lchain_dp makes of the same anchors, when they are
/// neither spliced nor of several segments. False, with nothing changed, where that is not certain: anchors that are
/// not sorted or of different lengths, or no memory. Only on processors with AVX2; any thread.
bool ChainWithAvx2(const ChainCall& call, Chains& chains);

/// The same for mg_lchain_rmq. False also where two anchors in reach have the very same penalty: which of them the
/// library takes depends on the shape of its tree.
bool JoinWithAvx2(const JoinCall& call, Chains& chains);

}  // namespace qel_minimap2::kernel
