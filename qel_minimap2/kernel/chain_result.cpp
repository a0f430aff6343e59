#include "qel_minimap2/kernel/chaining.h"

#include <kalloc.h>
#include <mmpriv.h>

#include "qel_minimap2/kernel/anchor_sort.h"

// The library's way back through the scores, which its headers do not name.
extern "C" std::uint64_t* mg_chain_backtrack(void* km, std::int64_t n, const std::int32_t* f, const std::int64_t* p,
                                             std::int32_t* v, std::int32_t* t, std::int32_t min_cnt,
                                             std::int32_t min_sc, std::int32_t max_drop, std::int32_t* n_u,
                                             std::int32_t* n_v);

namespace qel_minimap2::kernel {

namespace {

template <typename T>
T* Allocate(void* pool, std::int64_t count) {
    return static_cast<T*>(kmalloc(pool, static_cast<std::size_t>(count) * sizeof(T)));
}

std::int32_t Length(std::uint64_t chain) {
    return static_cast<std::int32_t>(chain);
}

}  // namespace

void TakeChains(const ChainScoring& scoring, const ChainedAnchors& scored, Chains& chains) {
    std::int32_t taken = 0;
    auto* const traced =
        mg_chain_backtrack(chains.pool, chains.count, scored.scores, scored.previous, scored.peaks, scored.marks,
                           scoring.least_anchors, scoring.least_score, scoring.band, &chains.chain_count, &taken);
    // In `peaks` lie the anchors of one chain after the other now, from its last to its first. Chains come out in the
    // order of their first anchors.
    auto* const all = chains.anchors;
    chains.chains = traced;
    chains.anchors = nullptr;
    chains.count = taken;
    const auto count = chains.chain_count;
    if (count > 0) {
        auto* const order = Allocate<mm128_t>(chains.pool, count);
        std::uint64_t end = 0;
        for (std::int32_t i = 0; i < count; ++i) {
            end += static_cast<std::uint64_t>(Length(traced[i]));
            order[i] = {all[scored.peaks[end - 1]].x, end << 32U | static_cast<std::uint32_t>(i)};
        }
        SortAnchors(order, order + count);
        auto* const in_order = Allocate<std::uint64_t>(chains.pool, count);
        auto* const anchors = Allocate<mm128_t>(chains.pool, taken);
        auto* to = anchors;
        for (std::int32_t i = 0; i < count; ++i) {
            in_order[i] = traced[static_cast<std::uint32_t>(order[i].y)];
            const auto* from = scored.peaks + (order[i].y >> 32U);
            for (auto left = Length(in_order[i]); left > 0; --left) {
                *to++ = all[*--from];
            }
        }
        kfree(chains.pool, order);
        kfree(chains.pool, traced);
        chains.chains = in_order;
        chains.anchors = anchors;
    }
    kfree(chains.pool, all);
}

}  // namespace qel_minimap2::kernel
