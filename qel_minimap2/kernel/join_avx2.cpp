#include <cstddef>
#include <cstring>

#include "qel_minimap2/kernel/anchor_sort.h"
#include "qel_minimap2/kernel/chain_score.h"
#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/reach.h"
#include "qel_minimap2/kernel/scratch.h"

// The library walks over the anchors by their place in the reference and keeps those in reach in two trees ordered by
// their place in the read. The wide tree gives the least penalty (what the gap will cost, less the score) in a range;
// the narrow one is for a walk back over those near. All anchors are known before, so here they are ranked by their
// place in the read first. A tree is then a list with an entry for each rank: its penalty, or whether it is near.
// Anchors of different sequences or strands never meet, nor do those on both sides of a gap wider than the reach. Each
// such group is ranked for itself.
//
// Where the least penalty is found once in a range, any way to look for it finds the same anchor; where it is found
// twice the library's choice depends on how its tree is balanced, and the call is left to the library.
namespace qel_minimap2::kernel {

namespace {

class Joining : private AnchorPairs {
public:
    Joining(const JoinCall& call, const Chains& chains)
        : AnchorPairs(call.scoring, chains),
          call(call),
          distance(Larger(call.distance, call.scoring.band)),
          near_distance(call.near_distance <= 0 || call.near_distance >= distance ? 0 : call.near_distance),
          per_base(0.5 * call.scoring.gap_penalty) {}

    /// False also when two penalties that matter are equal.
    bool Run(Chains& chains) {
        if (length < 0 || call.distance <= 0 || !Reserve()) {
            return false;
        }
        for (int begin = 0, end = 0; begin < count; begin = end) {
            for (end = begin + 1; end < count && !IsApart(end, end - 1, distance); ++end) {
            }
            Rank(begin, end);
            if (!ScoreGroup(begin, end)) {
                return false;
            }
        }
        TakeChains(call.scoring, {wide_previous, final_scores, peaks, marks}, chains);
        return true;
    }

private:
    bool Reserve() {
        const auto room = static_cast<std::size_t>(count) + std::size_t{2} * kLanes;
        constexpr std::size_t kPerAnchor = 3 * sizeof(std::uint64_t) + 12 * sizeof(std::int32_t);
        const std::size_t penalty_room = Penalties::RoomFor(count);
        auto* memory = ScratchMemory(Scratch::joining, room * kPerAnchor + penalty_room * sizeof(double));
        if (memory == nullptr) {
            return false;
        }
        penalty_memory = reinterpret_cast<double*>(memory);
        order = reinterpret_cast<std::uint64_t*>(penalty_memory + penalty_room);
        wide_previous = reinterpret_cast<std::int64_t*>(order + 2 * room);
        auto* lists = reinterpret_cast<std::int32_t*>(wide_previous + room);
        std::int32_t** const all[] = {&final_scores, &peaks, &rank_of, &references,     &reads,      &scores,
                                      &previous,     &marks, &member,  &first_in_reach, &first_near, &first_equal};
        for (auto** list : all) {
            *list = lists;
            lists += room;
        }
        return true;
    }

    // Ranks a group by place in the read, then in the list; fills what is known by rank, with a block of room behind.
    void Rank(int begin, int end) {
        group_size = end - begin;
        for (int i = 0; i < group_size; ++i) {
            order[i] = anchors[begin + i].y << 32U | static_cast<unsigned>(i);
        }
        SortNumbers(order, order + count + std::ptrdiff_t{2} * kLanes, static_cast<std::size_t>(group_size), 32);
        for (int rank = 0; rank < group_size; ++rank) {
            const auto i = static_cast<int>(order[rank] & UINT32_MAX);
            rank_of[i] = rank;
            member[rank] = i;
            references[rank] = static_cast<std::int32_t>(anchors[begin + i].x);
            reads[rank] = static_cast<std::int32_t>(anchors[begin + i].y);
        }
        for (int rank = 0, in_reach = 0, near = 0; rank < group_size; ++rank) {
            for (; reads[in_reach] <= reads[rank] - distance; ++in_reach) {
            }
            for (; reads[near] < reads[rank] - near_distance; ++near) {
            }
            first_in_reach[rank] = in_reach;
            first_near[rank] = near;
            first_equal[rank] = rank > 0 && reads[rank - 1] == reads[rank] ? first_equal[rank - 1] : rank;
        }
        const auto padded = static_cast<std::size_t>(group_size) + kLanes;
        std::memset(scores, 0, sizeof *scores * padded);
        std::memset(marks, 0, sizeof *marks * padded);
        std::memset(references + group_size, 0, sizeof *references * kLanes);
        std::memset(reads + group_size, 0, sizeof *reads * kLanes);
        near_ranks = reinterpret_cast<std::uint8_t*>(order);  // The order has served.
        std::memset(near_ranks, 0, static_cast<std::size_t>(group_size) / 8 + 9);
        penalties.Start(penalty_memory, group_size);
        wide_size = near_size = 0;
    }

    bool ScoreGroup(int begin, int end) {
        int entered = begin;
        int wide_first = begin;
        int near_first = begin;
        for (int i = begin; i < end; ++i) {
            if (anchors[entered].x != anchors[i].x) {
                for (; entered < i; ++entered) {
                    Enter(rank_of[entered - begin]);
                }
            }
            for (; wide_first < entered && (IsBeyond(i, wide_first, distance) || wide_size > call.most_in_reach);
                 ++wide_first, --wide_size) {
                penalties.Remove(rank_of[wide_first - begin]);
            }
            for (; near_first < entered && (IsBeyond(i, near_first, near_distance) || near_size > call.most_in_reach);
                 ++near_first, --near_size) {
                const auto rank = static_cast<unsigned>(rank_of[near_first - begin]);
                near_ranks[rank / 8] = static_cast<std::uint8_t>(near_ranks[rank / 8] & ~(1U << rank % 8));
            }
            const int rank = rank_of[i - begin];
            BestBefore best{length};
            if (!FindBefore(begin, rank, best)) {
                return false;
            }
            scores[rank] = best.score;
            previous[rank] = best.previous;
            final_scores[i] = best.score;
            const int before = best.previous >= 0 ? begin + member[best.previous] : -1;
            wide_previous[i] = before;
            peaks[i] = before >= 0 ? Larger(peaks[before], best.score) : best.score;
        }
        return true;
    }

    void Enter(int rank) {
        const int diagonal =
            static_cast<int>(static_cast<unsigned>(references[rank]) + static_cast<unsigned>(reads[rank]));
        penalties.Put(rank, -(scores[rank] + per_base * diagonal));
        ++wide_size;
        ++near_size;
        const auto bit = static_cast<unsigned>(rank);
        near_ranks[bit / 8] = static_cast<std::uint8_t>(near_ranks[bit / 8] | 1U << bit % 8);
    }

    // The best before the anchor at a rank; false when that depends on which of equal penalties is taken.
    bool FindBefore(int begin, int rank, BestBefore& best) {
        // The library's range ends before the anchors at the same place in the read. Only the first anchor of all is in
        // it even then.
        const int equal = first_equal[rank];
        const int last = begin == 0 && member[equal] == 0 ? equal : equal - 1;
        const int least = first_in_reach[rank] <= last ? penalties.Least(first_in_reach[rank], last) : -1;
        if (least == -2) {
            return false;
        }
        if (least < 0) {
            return true;
        }
        const auto distances = DistancesTo(rank, least);
        const int apart = _mm256_extract_epi32(distances.apart, 0);
        const int score = _mm256_extract_epi32(Totals(distances, least), 0);
        if (apart <= call.scoring.band && score > best.score) {
            best.score = score;
            best.previous = least;
        }
        const bool is_exact = apart == 0 && reads[rank] - reads[least] <= length;
        if (!is_exact && near_size > 0 && near_distance > 0 && reads[rank] > 0) {
            WalkBack(begin, rank, first_near[rank], equal - 1, best);
        }
        return true;
    }

    // The candidates near from rank `last` down to `first`.
    TAVIK_INLINE void WalkBack(int begin, int rank, int first, int last, BestBefore& best) {
        const int mark = begin + member[rank];
        for (int block = last / kLanes; last >= first && block >= first / kLanes; --block) {
            const int base = block * kLanes;
            unsigned valid = near_ranks[block];
            valid &= base < first ? 0xFFU << static_cast<unsigned>(first - base) : 0xFFU;
            valid &= last - base < kLanes - 1 ? (2U << static_cast<unsigned>(last - base)) - 1 : 0xFFU;
            if (valid == 0) {
                continue;
            }
            const auto distances = DistancesTo(rank, base);
            valid &= ~MaskOf(IsOutsideBand(distances));
            if (LookAt(base, valid, Totals(distances, base), mark, best) >= 0) {
                return;
            }
        }
    }

    const JoinCall& call;
    const int distance, near_distance;
    const double per_base;
    Penalties penalties;
    // Of a group: the rank of each member, then by rank, as the lists that are shared, but for the peaks.
    int group_size = 0, wide_size = 0, near_size = 0;
    double* penalty_memory = nullptr;
    std::uint64_t* order = nullptr;
    std::uint8_t* near_ranks = nullptr;  // A bit for each rank that is near.
    std::int32_t *rank_of = nullptr, *member = nullptr, *first_in_reach = nullptr, *first_near = nullptr,
                 *first_equal = nullptr;
    std::int32_t* final_scores = nullptr;  // By anchor.
};

}  // namespace

bool JoinWithAvx2(const JoinCall& call, Chains& chains) {
    return Joining(call, chains).Run(chains);
}

}  // namespace qel_minimap2::kernel
