#include "qel_minimap2/kernel/chaining.h"

#include <algorithm>
#include <cstddef>

#include <kalloc.h>

#include "qel_minimap2/kernel/anchor_sort.h"

// minimap2 traces chains back in descending order of their scores. Each trace goes back to the start that gives the
// chain its highest score, and includes no anchor that was traced earlier. minimap2 traces everything twice, the first
// time to count the chains. Here each chain is traced once, and results overwrite lists that are no longer needed: a
// read from a tandem repeat has millions of anchors, whose lists take most of the memory of a run.
namespace qel_minimap2::kernel {

namespace {

constexpr std::int32_t kNone = -1;

template <typename T>
T* Allocate(void* pool, std::int64_t count) {
    return static_cast<T*>(kmalloc(pool, static_cast<std::size_t>(count) * sizeof(T)));
}

std::int32_t Length(std::uint64_t chain) {
    return static_cast<std::int32_t>(chain);
}

class Tracing {
public:
    Tracing(const ChainScoring& scoring, const ChainedAnchors& scored, std::int64_t count)
        : scoring(scoring),
          scored(scored),
          count(count),
          numbers(reinterpret_cast<std::uint64_t*>(scored.scratch)),
          links(reinterpret_cast<std::uint32_t*>(scored.previous)) {}

    /// Writes the anchors' numbers to `members`, chain by chain, and within a chain from the last anchor to the first.
    void Run() {
        std::size_t ends = 0;
        for (std::int64_t i = 0; i < count; ++i) {
            links[i] = static_cast<std::uint32_t>(scored.previous[i] + 1) << 1U;
            if (scored.scores[i] >= scoring.least_score) {
                numbers[ends++] = static_cast<std::uint64_t>(scored.scores[i]) << 32U | static_cast<std::uint64_t>(i);
            }
        }
        SortByUpperHalf(numbers, numbers + ends);
        chains = numbers + ends;
        for (auto* end = chains; end != numbers;) {
            --end;
            const auto number = *end;
            if (!IsTraced(Length(number))) {
                Trace(Length(number), static_cast<std::int32_t>(number >> 32U));
            }
        }
    }

    int member_count = 0;
    /// The score and the length (in anchors) of each chain; the chain traced last comes first. This list overwrites the
    /// sorted `numbers` from the end, where they have already been read: each number leads to at most one chain.
    std::uint64_t* chains = nullptr;
    int chain_count = 0;

private:
    std::int32_t Before(std::int32_t i) const { return static_cast<std::int32_t>(links[i] >> 1U) - 1; }
    bool IsTraced(std::int32_t i) const { return (links[i] & 1U) != 0; }

    void Trace(std::int32_t last, std::int32_t score) {
        const auto start = StartOf(last, score);
        const int before = member_count;
        for (auto i = last; i != start; i = Before(i)) {
            scored.members[member_count++] = i;
            links[i] |= 1U;
        }
        const auto own_score = ScoreSince(start, score);
        const int length = member_count - before;
        if (own_score >= scoring.least_score && length > 0 && length >= scoring.least_anchors) {
            *--chains = static_cast<std::uint64_t>(own_score) << 32U | static_cast<std::uint32_t>(length);
            ++chain_count;
        } else {
            member_count = before;
        }
    }

    std::int32_t ScoreSince(std::int32_t start, std::int32_t score) const {
        return start == kNone ? score : score - scored.scores[start];
    }

    // Returns the start of the chain that ends at `last`: the anchor before its first anchor, kNone if there is none,
    // or `last` if the chain is empty. This start gives the chain its highest score. The search ends at an anchor
    // without a predecessor, at a traced anchor, or where the score is more than `scoring.band` below the highest one
    // found.
    std::int32_t StartOf(std::int32_t last, std::int32_t score) const {
        std::int32_t highest = 0;
        auto start = last;
        auto i = last;
        do {
            i = Before(i);
            const auto since = ScoreSince(i, score);
            if (since > highest) {
                highest = since;
                start = i;
            } else if (highest - since > scoring.band) {
                break;
            }
        } while (i != kNone && !IsTraced(i));
        return start;
    }

    const ChainScoring& scoring;
    const ChainedAnchors& scored;
    const std::int64_t count;
    std::uint64_t* const numbers;
    std::uint32_t* const links;  // For each anchor, whether it is traced (bit 0), and its predecessor plus one. In the
                                 // memory of `previous`.
};

}  // namespace

void TakeChains(const ChainScoring& scoring, const ChainedAnchors& scored, Chains& chains) {
    Tracing traced(scoring, scored, chains.count);
    traced.Run();
    auto* const all = chains.anchors;
    const auto total = chains.count;
    const auto count = traced.chain_count;
    chains.chain_count = count;
    chains.count = traced.member_count;
    chains.chains = nullptr;
    if (count > 0) {
        // Chains are returned in the order of the reference positions of their first anchors.
        auto* const order = Allocate<mm128_t>(chains.pool, count);
        std::uint64_t end = 0;
        for (std::int32_t i = 0; i < count; ++i) {
            end += static_cast<std::uint64_t>(Length(traced.chains[count - 1 - i]));
            order[i] = {all[scored.members[end - 1]].x, end << 32U | static_cast<std::uint32_t>(i)};
        }
        SortAnchors(order, order + count);
        chains.chains = Allocate<std::uint64_t>(chains.pool, count);
        for (std::int32_t i = 0; i < count; ++i) {
            chains.chains[i] = traced.chains[count - 1 - static_cast<std::int32_t>(order[i].y)];
        }
        // The anchors overwrite the numbers, links and scores in the scratch memory.
        auto* to = scored.scratch;
        for (std::int32_t i = 0; i < count; ++i) {
            const auto* from = scored.members + (order[i].y >> 32U);
            for (auto left = Length(chains.chains[i]); left > 0; --left) {
                *to++ = all[*--from];
            }
        }
        kfree(chains.pool, order);
    }
    // The list of all anchors is reused, unless at least half of it would be empty.
    if (2 * chains.count > total) {
        chains.anchors = all;
    } else {
        kfree(chains.pool, all);
        chains.anchors = count > 0 ? Allocate<mm128_t>(chains.pool, chains.count) : nullptr;
    }
    std::copy_n(scored.scratch, chains.count, chains.anchors);
}

}  // namespace qel_minimap2::kernel
