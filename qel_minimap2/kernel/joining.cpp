#include <cstddef>
#include <cstring>

#include "qel_minimap2/kernel/anchor_sort.h"
#include "qel_minimap2/kernel/chain_score.h"
#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/penalties.h"
#include "qel_minimap2/kernel/reach_tree.h"
#include "qel_minimap2/kernel/scratch.h"

// minimap2 processes the anchors in the order of their reference positions. It stores the anchors in reach in two trees
// ordered by read position. A search in the wide tree finds an anchor with the lowest penalty in a range. The penalty
// is a cost that grows with the distance, minus the score. The narrow tree has the near anchors and is used to walk
// back over them.
//
// Here all anchors are known in advance and are first ranked by read position. Each tree can then be replaced by a list
// with one entry per rank: the anchor's penalty, or whether it is near. Anchors on different sequences or strands are
// never joined. Nor are anchors on opposite sides of a part of the reference that has no anchors and is wider than the
// reach. The code cuts the anchors into sections at these places, and joins each section separately.
//
// A section with many copies of a repeat has far more anchors than are in reach at a time, so lists of all its ranks
// would be nearly empty. The section is therefore cut into stretches, and anchors are ranked within a window: a stretch
// and the anchors before it that are still in reach. Each stretch except the last is at least as long as the part of
// the window before it, so all windows together have fewer than three times as many entries as there are anchors.
// Windows do not change the result: ranks only show the order of anchors on the read, and the state of the anchors in
// reach is copied to the next window.
//
// If only one anchor of a range has the lowest penalty, every search finds it. If several anchors have it, which is
// frequent among identical copies, minimap2's choice depends on the balance of its tree. The choice rarely matters,
// because a near anchor is usually better. The code therefore tries each of these anchors. If there are too many of
// them, or if they lead to different predecessors, as in homopolymers, it builds the tree that minimap2 has at this
// point, and uses that tree for the rest of the section.
namespace qel_minimap2::kernel {

namespace {

constexpr int kShortestStretch = 4096;

class Joining : private AnchorPairs {
public:
    Joining(const JoinCall& call, const Chains& chains)
        : AnchorPairs(call.scoring, chains),
          call(call),
          distance(Larger(call.distance, call.scoring.band)),
          near_distance(call.near_distance <= 0 || call.near_distance >= distance ? 0 : call.near_distance),
          per_base(0.5 * call.scoring.gap_penalty) {}

    bool Run(Chains& chains) {
        if (length < 0 || call.distance <= 0 || !Reserve()) {
            return false;
        }
        for (int begin = 0, end = 0; begin < count; begin = end) {
            for (end = begin + 1; end < count && !IsApart(end, end - 1, distance); ++end) {
            }
            if (!JoinSection(begin, end)) {
                return false;
            }
        }
        TakeChains(call.scoring, all, chains);
        return true;
    }

private:
    // Allocates the memory that all windows share.
    bool Reserve() {
        const auto padded = static_cast<std::size_t>(count) + std::size_t{2} * kLanes;
        auto* memory = ScratchMemory(Scratch::chaining, padded * (sizeof *all.scratch + sizeof *all.members));
        if (memory == nullptr) {
            return false;
        }
        all.scratch = reinterpret_cast<mm128_t*>(memory);
        all.scores = reinterpret_cast<std::int32_t*>(all.scratch) + 2 * padded;
        all.previous = all.scores + padded;
        all.members = all.previous + padded;
        return true;
    }

    bool JoinSection(int begin, int end) {
        section_begin = entered = wide_first = near_first = begin;
        section_end = end;
        tree.Stop();
        for (int at = begin, stretch_end = 0; at < end; at = stretch_end) {
            const int least_size = Larger(at - wide_first, kShortestStretch);
            stretch_end = end - at > least_size ? at + least_size : end;
            if (!OpenWindow(stretch_end)) {
                return false;
            }
            CarryOver(at);
            if (!ScoreStretch(at, stretch_end)) {
                return false;
            }
        }
        return true;
    }

    // Opens the window from the first anchor in reach up to, not including, `end`: allocates its memory and ranks its
    // anchors by read position.
    bool OpenWindow(int end) {
        window = wide_first;
        window_size = end - wide_first;
        const auto padded = static_cast<std::size_t>(window_size) + std::size_t{2} * kLanes;
        // After the anchors are ranked, the near bits and the penalties overwrite `order`. The first two lists by rank
        // overwrite the second buffer of the sort.
        const std::size_t words = static_cast<std::size_t>(window_size) / kWord + 1;
        const std::size_t first_part = words + Penalties::SizeFor(window_size);
        constexpr std::size_t kPerAnchor = sizeof *order + 8 * sizeof *rank_of;
        auto* memory = ScratchMemory(Scratch::joining, first_part * sizeof *order + padded * kPerAnchor);
        if (memory == nullptr) {
            return false;
        }
        order = reinterpret_cast<std::uint64_t*>(memory);
        near_ranks = order;
        auto* const other_order = order + first_part;
        auto* lists = reinterpret_cast<std::int32_t*>(other_order);
        std::int32_t** const by_rank[] = {&first_in_reach, &first_near, &first_equal, &rank_of, &reference_positions,
                                          &read_positions, &scores,     &previous,    &marks,   &member};
        for (auto** list : by_rank) {
            *list = lists;
            lists += padded;
        }
        Rank(other_order);
        std::memset(near_ranks, 0, sizeof *near_ranks * words);
        penalties.Start(reinterpret_cast<double*>(order + words), window_size);
        walk = 0;
        return true;
    }

    // Fills the lists that do not depend on scores, clears `scores` and `marks`, and pads the position lists, which are
    // read a register at a time. `previous` is read in the same way, but needs neither clearing nor padding, because
    // only its entries for anchors already scored are used.
    void Rank(std::uint64_t* other_order) {
        for (int i = 0; i < window_size; ++i) {
            order[i] = anchors[window + i].y << 32U | static_cast<unsigned>(i);
        }
        SortNumbers(order, other_order, static_cast<std::size_t>(window_size), 32);
        for (int rank = 0; rank < window_size; ++rank) {
            const auto i = static_cast<int>(order[rank] & UINT32_MAX);
            rank_of[i] = rank;
            member[rank] = window + i;
            reference_positions[rank] = static_cast<std::int32_t>(anchors[window + i].x);
            read_positions[rank] = static_cast<std::int32_t>(anchors[window + i].y);
        }
        for (int rank = 0, in_reach = 0, near = 0; rank < window_size; ++rank) {
            for (; read_positions[in_reach] <= read_positions[rank] - distance; ++in_reach) {
            }
            for (; read_positions[near] < read_positions[rank] - near_distance; ++near) {
            }
            first_in_reach[rank] = in_reach;
            first_near[rank] = near;
            first_equal[rank] =
                rank > 0 && read_positions[rank - 1] == read_positions[rank] ? first_equal[rank - 1] : rank;
        }
        const auto padded = static_cast<std::size_t>(window_size) + kLanes;
        std::memset(scores, 0, sizeof *scores * padded);
        std::memset(marks, 0, sizeof *marks * padded);
        std::memset(reference_positions + window_size, 0, sizeof *reference_positions * kLanes);
        std::memset(read_positions + window_size, 0, sizeof *read_positions * kLanes);
    }

    // Copies the state of the window's anchors before `end`, which are already scored, to the lists by rank. A
    // predecessor before the window becomes -1: it is out of reach, so its mark is never read.
    void CarryOver(int end) {
        for (int i = window; i < end; ++i) {
            const int rank = rank_of[i - window];
            scores[rank] = all.scores[i];
            previous[rank] = all.previous[i] >= window ? rank_of[all.previous[i] - window] : -1;
        }
        for (int i = wide_first; i < entered; ++i) {
            PutPenalty(rank_of[i - window]);
        }
        for (int i = near_first; i < entered; ++i) {
            SwitchNear(rank_of[i - window]);
        }
    }

    bool ScoreStretch(int begin, int end) {
        for (int i = begin; i < end; ++i) {
            if (anchors[entered].x != anchors[i].x) {
                for (; entered < i; ++entered) {
                    const int rank = rank_of[entered - window];
                    PutPenalty(rank);
                    SwitchNear(rank);
                    if (tree.IsStarted()) {
                        PutIntoTree(entered);
                    }
                }
            }
            for (; wide_first < entered && IsOut(i, wide_first, entered, distance); ++wide_first) {
                penalties.Remove(rank_of[wide_first - window]);
                if (tree.IsStarted()) {
                    tree.Remove(wide_first);
                }
            }
            for (; near_first < entered && IsOut(i, near_first, entered, near_distance); ++near_first) {
                SwitchNear(rank_of[near_first - window]);
            }
            const int rank = rank_of[i - window];
            BestBefore best{length};
            if (!FindBefore(i, best)) {
                return false;
            }
            scores[rank] = best.score;
            previous[rank] = best.previous;
            all.scores[i] = best.score;
            all.previous[i] = best.previous >= 0 ? member[best.previous] : -1;
        }
        return true;
    }

    // Returns whether `first` is out of reach of anchor i. The anchors in reach so far are those from `first` up to,
    // not including, `end`.
    bool IsOut(int i, int first, int end, int reach) const {
        return IsBeyond(i, first, reach) || end - first > call.most_in_reach;
    }

    double Penalty(std::int32_t reference_position, std::int32_t read_position, std::int32_t score) const {
        const int diagonal =
            static_cast<int>(static_cast<unsigned>(reference_position) + static_cast<unsigned>(read_position));
        return -MultiplyAdd(per_base, diagonal, score);
    }

    void PutPenalty(int rank) {
        penalties.Put(rank, Penalty(reference_positions[rank], read_positions[rank], scores[rank]));
    }

    void PutIntoTree(int i) {
        const auto read_position = static_cast<std::int32_t>(anchors[i].y);
        tree.Insert(i, read_position, Penalty(static_cast<std::int32_t>(anchors[i].x), read_position, all.scores[i]));
    }

    // Calls `enter` and `leave` for the anchors that come into reach and leave it while minimap2 processes the
    // section's anchors before `end`. The calls are in minimap2's order.
    template <typename Enter, typename Leave>
    void Repeat(int end, Enter enter, Leave leave) const {
        for (int i = section_begin, in = i, out = i; i < end; ++i) {
            if (anchors[in].x != anchors[i].x) {
                for (; in < i; ++in) {
                    enter(in);
                }
            }
            for (; out < in && IsOut(i, out, in, distance); ++out) {
                leave(out);
            }
        }
    }

    // Builds the tree that minimap2 has at anchor i. Returns false if there is no memory.
    bool GrowTree(int i) {
        int in_reach = 0, most = 1;
        Repeat(
            section_end, [&](int) { most = Larger(most, ++in_reach); }, [&](int) { --in_reach; });
        if (!tree.Start(most)) {
            return false;
        }
        Repeat(
            i + 1, [&](int entering) { PutIntoTree(entering); }, [&](int leaving) { tree.Remove(leaving); });
        return true;
    }

    void SwitchNear(int rank) { near_ranks[rank / kWord] ^= std::uint64_t{1} << static_cast<unsigned>(rank % kWord); }

    // Finds the best predecessor of anchor i. Returns false if there is no memory.
    bool FindBefore(int i, BestBefore& best) {
        // minimap2's range ends before the anchors at anchor i's read position. Anchor 0 is an exception: it is in the
        // range.
        const int rank = rank_of[i - window];
        const int equal = first_equal[rank];
        const int first = first_in_reach[rank];
        const int last = member[equal] == 0 ? equal : equal - 1;
        if (first > last) {
            return true;
        }
        const auto least = penalties.Least(first, last);
        if (least.rank < 0) {
            return true;
        }
        if (least.is_only) {
            FollowLeast(rank, least.rank, best);
            return true;
        }
        if (!tree.IsStarted()) {
            if (AllLeadToOne(rank, least, last, best)) {
                return true;
            }
            if (!GrowTree(i)) {
                return false;
            }
        }
        best = BestBefore{length};
        FollowLeast(rank, rank_of[tree.Least(read_positions[rank], distance) - window], best);
        return true;
    }

    // Calls FollowLeast for each anchor up to rank `last` that has the lowest penalty. Returns false if these calls
    // find different predecessors or scores, or if there are more than kMostEqual of these anchors.
    bool AllLeadToOne(int rank, const Penalties::Minimum& least, int last, BestBefore& best) {
        FollowLeast(rank, least.rank, best);
        int tried = 1;
        for (int other = least.rank; (other = penalties.Next(other + 1, last, least.penalty)) >= 0;) {
            BestBefore after{length};
            FollowLeast(rank, other, after);
            if (after.previous != best.previous || after.score != best.score || ++tried > kMostEqual) {
                return false;
            }
        }
        return true;
    }

    // Finds the best predecessor of the anchor at `rank`, given that a search has found the anchor at rank `least`.
    void FollowLeast(int rank, int least, BestBefore& best) {
        const auto distances = DistancesTo(rank, least);
        const int apart = Ints::First(distances.apart);
        const int score = Ints::First(Totals(distances, least));
        if (apart <= call.scoring.band && score > best.score) {
            best.score = score;
            best.previous = least;
        }
        const bool is_exact = apart == 0 && read_positions[rank] - read_positions[least] <= length;
        if (!is_exact && near_first < entered && near_distance > 0 && read_positions[rank] > 0) {
            WalkBack(rank, first_near[rank], first_equal[rank] - 1, best);
        }
    }

    // Tries the near candidates from rank `last` down to `first`. Each walk has its own number, with which it marks the
    // predecessors of the candidates that it has tried, so marks need not be cleared.
    void WalkBack(int rank, int first, int last, BestBefore& best) {
        ++walk;
        for (int word = last / kWord; last >= first && word >= first / kWord; --word) {
            const int base = word * kWord;
            std::uint64_t near = near_ranks[word];
            near &= base < first ? ~std::uint64_t{0} << static_cast<unsigned>(first - base) : ~std::uint64_t{0};
            near &= last - base < kWord - 1 ? (std::uint64_t{2} << static_cast<unsigned>(last - base)) - 1
                                            : ~std::uint64_t{0};
            while (near != 0) {
                const int lanes = (kWord - 1 - __builtin_clzll(near)) / kLanes;
                const auto shift = static_cast<unsigned>(lanes * kLanes);
                const auto valid = static_cast<unsigned>(near >> shift);
                near ^= std::uint64_t{valid} << shift;
                const int at = base + lanes * kLanes;
                const auto distances = DistancesTo(rank, at);
                const unsigned in_band = valid & ~Ints::MaskOf(IsOutsideBand(distances));
                if (LookAt(at, in_band, Totals(distances, at), walk, best)) {
                    return;
                }
            }
        }
    }

    static constexpr int kMostEqual = 8;
    static constexpr int kWord = 64;

    const JoinCall& call;
    const int distance, near_distance;
    const double per_base;
    ChainedAnchors all{};
    // In the section, anchors before `entered` have come into reach, those before `wide_first` have left it, and those
    // before `near_first` are no longer near.
    int section_begin = 0, section_end = 0, entered = 0, wide_first = 0, near_first = 0;
    // The window starts at anchor `window`. `rank_of` is indexed by an anchor's number minus `window`. The other lists
    // of a window, including those of the base class, are indexed by rank.
    int window = 0, window_size = 0;
    int walk = 0;  // The number of the most recent walk (see WalkBack).
    Penalties penalties;
    ReachTree tree;
    std::uint64_t* order = nullptr;
    std::uint64_t* near_ranks = nullptr;  // One bit for each rank: whether its anchor is near.
    std::int32_t *rank_of = nullptr, *member = nullptr, *first_in_reach = nullptr, *first_near = nullptr,
                 *first_equal = nullptr;
};

}  // namespace

template <>
bool JoinAnchors<kBits>(const JoinCall& call, Chains& chains) {
    return Joining(call, chains).Run(chains);
}

}  // namespace qel_minimap2::kernel
