#include <cstddef>
#include <cstring>

#include "qel_minimap2/kernel/chain_score.h"
#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/scratch.h"

// For each anchor, minimap2 tries the anchors before it as predecessors, from the nearest to the farthest, and keeps
// the best one. A candidate counts as skipped if it is not better than the best one so far and is the predecessor
// chosen for a candidate tried earlier. Each skipped candidate raises a count, and each better one lowers it, but not
// below 0. When the count exceeds `most_skipped`, the search ends early.
//
// Here the scores of a register of candidates are computed at once. Candidates that cannot precede the anchor, the
// majority in reads with repeats, are dismissed a register at a time. Of the others, only the better ones are looked at
// one by one, and the skipped ones between them are counted together.
namespace qel_minimap2::kernel {

namespace {

class Chaining : private AnchorPairs {
public:
    Chaining(const ChainCall& call, const Chains& chains)
        : AnchorPairs(call.scoring, chains),
          call(call),
          reference_distance(Larger(call.reference_distance, call.scoring.band)),
          read_distance(Larger(call.read_distance, call.scoring.band)) {}

    bool Run(Chains& chains) {
        if (length < 0 || !Reserve()) {
            return false;
        }
        Score();
        TakeChains(call.scoring, {previous, scores, marks, reinterpret_cast<mm128_t*>(memory)}, chains);
        return true;
    }

private:
    bool Reserve() {
        const auto room = static_cast<std::size_t>(count) + std::size_t{2} * kLanes;
        constexpr std::size_t kLists = 5;
        memory = ScratchMemory(Scratch::chaining, room * kLists * sizeof(std::int32_t));
        if (memory == nullptr) {
            return false;
        }
        auto* lists = reinterpret_cast<std::int32_t*>(memory);
        // Loads of registers may reach beyond a list's first and last entries.
        std::memset(lists, 0, sizeof *lists * room * kLists);
        // The order matters: TakeChains uses the first four lists as scratch memory, and `scores` and `previous` must
        // lie in the second half of it.
        std::int32_t** const all[] = {&reference_positions, &read_positions, &scores, &previous, &marks};
        for (auto** list : all) {
            *list = lists + kLanes;
            lists += room;
        }
        return true;
    }

    void Score() {
        int first = 0;
        int same = 0;      // The first anchor with the reference position of anchor i.
        int highest = -1;  // The highest-scoring anchor in reach.
        for (int i = 0; i < count; ++i) {
            reference_positions[i] = static_cast<std::int32_t>(anchors[i].x);
            read_positions[i] = static_cast<std::int32_t>(anchors[i].y);
        }
        for (int i = 0; i < count; ++i) {
            while (first < i && IsApart(i, first, reference_distance)) {
                ++first;
            }
            first = Larger(first, i - call.most_tried);
            same = anchors[same].x == anchors[i].x ? same : i;
            BestBefore best{length};
            const int limit = TryCandidates(i, first, same, best);
            if (highest < 0 || IsBeyond(i, highest, reference_distance)) {
                highest = HighestScore(first, i);
            }
            if (highest >= 0 && highest < limit) {
                Try(i, highest, 1, best);
            }
            scores[i] = best.score;
            previous[i] = best.previous;
            if (highest < 0 || (!IsBeyond(i, highest, reference_distance) && scores[highest] < scores[i])) {
                highest = i;
            }
        }
    }

    // Tries the candidates before `same` down to `first`. Anchors from `same` on cannot precede anchor i, because they
    // are at the same reference position. Returns a limit: the highest-scoring anchor in reach is also tried if its
    // index is below this limit. minimap2's limit is the candidate at which the search ended early, or `first - 1` if
    // all were tried.
    int TryCandidates(int i, int first, int same, BestBefore& best) const {
        for (int base = same - kLanes; base > first - kLanes; base -= kLanes) {
            if (Try(i, base, base < first ? Ints::kAll << static_cast<unsigned>(first - base) : Ints::kAll, best)) {
                return base + kLanes;  // Above minimap2's limit: no candidate already tried can become better.
            }
        }
        return first - 1;
    }

    // Tries the candidates in the `asked` lanes from `base` on. Returns whether the search ends early.
    TAVIK_INLINE bool Try(int i, int base, unsigned asked, BestBefore& best) const {
        const Register zero = Ints::All(0);
        const auto distances = DistancesTo(i, base);
        const Register farthest = Ints::All(Smaller(reference_distance, read_distance));
        const Register bad =
            Lanes::Or(Lanes::Or(Ints::Greater(distances.on_read, farthest), Ints::Equal(distances.on_reference, zero)),
                      IsOutsideBand(distances));
        const unsigned valid = asked & Ints::MaskOf(Lanes::AndNot(bad, Ints::Greater(distances.on_read, zero)));
        return valid != 0 && LookAt(base, valid, Totals(distances, base), i, best);
    }

    // Returns the last anchor with the highest score from `first` up to, not including, `end`; -1 for an empty range.
    int HighestScore(int first, int end) const {
        std::int32_t highest = INT32_MIN;
        for (int i = first; i < end; ++i) {
            highest = Larger(highest, scores[i]);
        }
        int at = end - 1;
        while (at >= first && scores[at] != highest) {
            --at;
        }
        return at >= first ? at : -1;
    }

    const ChainCall& call;
    const int reference_distance, read_distance;
    std::uint8_t* memory = nullptr;  // Holds all lists.
};

}  // namespace

template <>
bool ChainAnchors<kBits>(const ChainCall& call, Chains& chains) {
    return Chaining(call, chains).Run(chains);
}

}  // namespace qel_minimap2::kernel
