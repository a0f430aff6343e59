#pragma once

#include <cstdint>

#include <minimap.h>

namespace qel_minimap2::kernel {

/// The anchors to chain, in minimap2's format and sorted by x: x has the strand, sequence and reference position, and y
/// the read position (lowest 32 bits) and the anchor's length (next 8 bits).
///
/// ChainAnchors and JoinAnchors replace the anchors with those of all chains, chain by chain. They set `chains` to the
/// score (upper 32 bits) and the number of anchors (lower 32 bits) of each chain.
struct Chains {
    void* pool;  ///< The kalloc pool of both lists; null for malloc.
    std::int64_t count;
    mm128_t* anchors;
    int chain_count;
    std::uint64_t* chains;
};

/// The parameters that chaining and joining share.
struct ChainScoring {
    int band;                        ///< The largest distance between the diagonals of two neighbours in a chain.
    int most_skipped;                ///< A search ends early if more candidates are skipped (see chaining.cpp).
    int least_anchors, least_score;  ///< Chains with fewer anchors or a lower score are dropped.
    float gap_penalty, skip_penalty;
};

/// The arguments of minimap2's mg_lchain_dp, which finds for each anchor the best predecessor among the anchors before
/// it.
struct ChainCall {
    /// The largest distances between neighbours in a chain, in bases. If the band is larger, the band is used instead.
    int reference_distance, read_distance;
    int most_tried;  ///< The most anchors that a search tries, apart from the highest-scoring one in reach.
    ChainScoring scoring;
};

/// The arguments of minimap2's mg_lchain_rmq, which tries two kinds of predecessors for each anchor: the anchor in
/// reach with the lowest penalty, and the near anchors.
struct JoinCall {
    /// Anchors are in reach up to `distance` bases away on the reference, or up to the band if the band is larger.
    /// Anchors up to `near_distance` bases away on the reference are near. Near anchors are tried only if
    /// `near_distance` is above 0 and below the reach.
    int distance, near_distance;
    int most_in_reach;  ///< The most anchors that are in reach at a time.
    ChainScoring scoring;
};

/// The scored anchors, and scratch memory to trace chains back. Each list has `Chains::count` entries. TakeChains
/// overwrites all lists.
struct ChainedAnchors {
    std::int32_t* previous;  ///< The predecessor in the best chain that ends here, or -1.
    std::int32_t* scores;    ///< The score of that chain, 0 or more.
    std::int32_t* members;   ///< Scratch.
    mm128_t* scratch;        ///< Scratch; `previous` and `scores` may lie in its second half.
};

/// Traces the chains back and sets `chains` to the result, in minimap2's order.
void TakeChains(const ChainScoring& scoring, const ChainedAnchors& scored, Chains& chains);

/// Chains anchors. The result is that of mg_lchain_dp without splicing and with one segment. Returns false and changes
/// nothing if this is not certain (see CommonLength) or if there is no memory. Any thread.
template <int kBits>
bool ChainAnchors(const ChainCall& call, Chains& chains);
template <>
bool ChainAnchors<128>(const ChainCall& call, Chains& chains);
template <>
bool ChainAnchors<256>(const ChainCall& call, Chains& chains);

/// Joins chains: chains their anchors again, over longer distances. The result is that of mg_lchain_rmq. Returns false
/// and changes nothing if this is not certain or if there is no memory. Any thread.
template <int kBits>
bool JoinAnchors(const JoinCall& call, Chains& chains);
template <>
bool JoinAnchors<128>(const JoinCall& call, Chains& chains);
template <>
bool JoinAnchors<256>(const JoinCall& call, Chains& chains);

}  // namespace qel_minimap2::kernel
