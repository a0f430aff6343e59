#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// A form of the recurrence with fewer operations, for the first three methods of base_alignment.h.
//
// For x, y, u and v, see general_kernel.h. Each byte of a line holds -128, plus kScale times a number that is never
// negative, plus a tag below kScale:
//
//     line  number               tag
//     x     x + open + extend    0
//     x2    x2 + open2 + extend2 0
//     v     v + open + extend    that of a deletion
//     y     y + open + extend    0
//     y2    y2 + open2 + extend2 0
//     u     u + open + extend    that of an insertion
//
// So a saturating subtraction replaces a gap by a newly opened one if that is better. The sum of a gap line and a score
// line is a candidate for the cell's score, relative to the cell before it on its diagonal: kScale times the score,
// plus the candidate's tag, plus a constant that is the same for all candidates. For the second gap piece,
// `second_piece` is added, which corrects the constant and the tag. The maximum of the candidates has the best score
// and, in its tag, the direction that wins a tie. The new u and v follow from the bits above the tag.
inline constexpr int kScale = 8;

/// The tags of the candidates, in the order of the directions in trace_back.h: the tag of kFromDiagonal is `diagonal`,
/// and each further direction adds `step`.
struct Tags {
    int diagonal, step;

    constexpr int Deletion() const { return diagonal + step; }
    constexpr int Insertion() const { return diagonal + 2 * step; }
};

/// Of several equal candidates, the one with the highest tag wins. A cell's new u is its score, with all bits of the
/// tag set, minus the old v, and its new v is that score minus the old u. So the tags of a deletion and an insertion
/// add up to kScale - 1.
inline constexpr Tags TagsOf(Trace trace) {
    return trace == Trace::left ? Tags{5, -1} : Tags{2, 1};
}

/// Returns true for scorings whose lines and candidates fit into signed bytes. The only exception: a candidate of the
/// second gap piece may be too low for a byte. It then saturates, and is still below the candidate for any
/// substitution. `s` must fit the general kernel.
inline bool FitsStrip(const Scoring& s) {
    const int gap = s.open + s.extend, gap2 = s.open2 + s.extend2;
    return s.open2 <= 31 && s.match + 2 * gap <= 15 && s.match + 3 * gap < gap2;
}

/// The padding of the two sequences: letters that differ from each base and from each other.
inline constexpr int kBesideTarget = 7;
inline constexpr int kBesideQuery = 9;

alignas(32) inline constexpr std::int8_t kLaneNumbers[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                             11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
                                                             22, 23, 24, 25, 26, 27, 28, 29, 30, 31};

/// INT8_MIN in the lane with this number, and INT8_MAX in all others.
TAVIK_INLINE Register OnlyLane(int number) {
    alignas(32) static constexpr std::int8_t kOneLow[64] = {
        127, 127, 127, 127, 127, 127, 127, 127, 127, 127,  127, 127, 127, 127, 127, 127, 127, 127, 127, 127, 127, 127,
        127, 127, 127, 127, 127, 127, 127, 127, 127, -128, 127, 127, 127, 127, 127, 127, 127, 127, 127, 127, 127, 127,
        127, 127, 127, 127, 127, 127, 127, 127, 127, 127,  127, 127, 127, 127, 127, 127, 127, 127, 127, 127};
    return Lanes::Load(kOneLow + (number >= 0 && number < Lanes::kWidth ? 31 - number : 32));
}

/// Constants that follow from the scoring. Each register except `substitutions` has the same value in every lane.
struct StripConstants {
    StripConstants(const Scoring& s, Trace trace)
        : scoring(s),
          trace(trace),
          gap(s.open + s.extend),
          tags(TagsOf(trace)),
          opened(Lanes::All(INT8_MIN)),
          unreachable_u(ScoreLine(-gap, tags.Insertion())),
          unreachable_v(ScoreLine(-gap, tags.Deletion())),
          substitutions(Lanes::Select(Lanes::FirstOfSixteen(), Substituted(s.match), Substituted(s.mismatch))),
          second_piece(Lanes::All(256 + kScale * (gap - s.open2 - s.extend2) + 2 * tags.step)),
          all_tags(Lanes::All(kScale - 1)),
          u_to_loss(Loss(s.extend, tags.Insertion())),
          v_to_loss(Loss(s.extend, tags.Deletion())),
          u_to_loss2(Loss(s.extend2, tags.Insertion())),
          v_to_loss2(Loss(s.extend2, tags.Deletion())) {}

    TAVIK_INLINE Register Substitution(const std::uint8_t* target, const std::uint8_t* query) const {
        return Lanes::LookUp(substitutions, Lanes::Xor(Lanes::Load(target), Lanes::Load(query)));
    }

    /// Returns u or v of the border in row r.
    Register BorderOfU(int r) const { return ScoreLine(BorderStep(scoring, r), tags.Insertion()); }
    Register BorderOfV(int r) const { return ScoreLine(BorderStep(scoring, r), tags.Deletion()); }

    const Scoring& scoring;
    const Trace trace;
    const int gap;  // The cost of a gap of one base.
    const Tags tags;
    Register opened;                        // The value of a gap line where a newly opened gap is best.
    Register unreachable_u, unreachable_v;  // Of cells that no path reaches.
    Register substitutions;  // The candidate for two letters, indexed by their XOR, which is 0 for a match.
    Register second_piece;   // Added to the sum for a candidate of the second gap piece.
    Register all_tags;
    Register u_to_loss,
        v_to_loss;  // Added to a cell's new u or v, gives the amount by which a gap line falls if its gap is extended.
    Register u_to_loss2, v_to_loss2;

private:
    Register ScoreLine(int step, int tag) const { return Lanes::All(INT8_MIN + kScale * (step + gap) + tag); }
    Register Substituted(int score) const { return Lanes::All(kScale * (score + 2 * gap) + tags.diagonal); }
    Register Loss(int extend, int tag) const { return Lanes::All(-INT8_MIN - kScale * (gap - extend) - tag); }
};

/// The six difference lines of a register of cells.
struct StripLanes {
    Register x, y, x2, y2, u, v;
};

/// How a strip moves from one row to the next. `none`: this is the strip's first row. `up`: the strip stays at its
/// target positions, so values from the position before move up by one lane. `down`: the strip moves by one target
/// position, so values from the same position move down by one lane.
enum class Shift { none, up, down };

/// Computes a register of cells and returns their best candidates. `s` has the candidates for substitutions. Before the
/// call, `c` has the values of the cells' neighbours; after the call, it has the values of the cells.
///
/// A row depends on the row before, so in narrow strips, the longest chain of operations matters besides their number.
/// The chain leads through the lines that were shifted for this row (x, x2 and v by `up`; y, y2 and u by `down`): these
/// are used last, and the lines that the next row of a band shifts are computed first.
template <Shift kShift>
TAVIK_INLINE Register StripStep(const StripConstants& k, Register s, StripLanes& c) {
    using L = Lanes;
    constexpr bool kUp = kShift != Shift::down;
    Register& early_gap = kUp ? c.y : c.x;
    Register& early_gap2 = kUp ? c.y2 : c.x2;
    Register& early_score = kUp ? c.u : c.v;
    Register& late_gap = kUp ? c.x : c.y;
    Register& late_gap2 = kUp ? c.x2 : c.y2;
    Register& late_score = kUp ? c.v : c.u;
    const auto candidate2 = [&](Register gap, Register score) __attribute__((always_inline)) {
        return L::AddSaturated(gap, L::Add(score, k.second_piece));
    };
    const Register early = L::Max(L::Max(s, L::Add(early_gap, early_score)), candidate2(early_gap2, early_score));
    const Register late = L::Max(L::Add(late_gap, late_score), candidate2(late_gap2, late_score));
    const Register best = L::Max(early, late);
    const Register cell = L::Or(best, k.all_tags);
    const Register new_early_score = L::Subtract(cell, late_score);
    late_score = L::Subtract(cell, early_score);
    early_score = new_early_score;

    // Gap lines are relative to a cell's score, so an extended gap loses the difference of the scores (u or v) and the
    // cost of one more base.
    const auto extend = [&](Register & gap, Register score, Register to_loss) __attribute__((always_inline)) {
        gap = L::SubtractSaturated(gap, L::Add(score, to_loss));
    };
    extend(early_gap, late_score, kUp ? k.v_to_loss : k.u_to_loss);
    extend(early_gap2, late_score, kUp ? k.v_to_loss2 : k.u_to_loss2);
    extend(late_gap, early_score, kUp ? k.u_to_loss : k.v_to_loss);
    extend(late_gap2, early_score, kUp ? k.u_to_loss2 : k.v_to_loss2);
    return best;
}

/// Opens two gaps and sets a score line to the value of the border in one lane. `at` comes from OnlyLane. A newly
/// opened gap has the lowest value of a gap line, INT8_MIN, so a minimum sets it.
TAVIK_INLINE void EnterGap(Register at, Register border, Register& gap, Register& gap2, Register& score) {
    gap = Lanes::Min(gap, at);
    gap2 = Lanes::Min(gap2, at);
    score = Lanes::Select(at, border, score);
}

/// The difference lines for N registers of neighbouring target positions. If N is small, they stay in registers from
/// row to row.
template <int N>
class Strip {
public:
    static constexpr int kWidth = N * Lanes::kWidth;
    static constexpr int kRowSize = 2 * kWidth;

    /// Starts with cells that no path reaches.
    explicit Strip(const StripConstants& k) : k(k) {
        for (auto& c : cells) {
            c = {k.opened, k.opened, k.opened, k.opened, k.unreachable_u, k.unreachable_v};
        }
    }

    StripLanes& Cells(int n) { return cells[n]; }

    /// Computes row r from target position `base` on. Writes kRowSize bytes to `out`: first the best candidates of all
    /// cells, then their u. `target` points to the letter of the first position, and `query` to the query letter of the
    /// same cell. Only with kBorder may the row include the first position of a sequence.
    template <Shift kShift, bool kBorder>
    TAVIK_INLINE void Row(int r, int base, const std::uint8_t* target, const std::uint8_t* query, std::uint8_t* out) {
        Move<kShift>();
        if constexpr (kBorder) {
            EnterBorder(r, base);
        }
        TAVIK_UNROLL
        for (int n = 0; n < N; ++n) {
            const int offset = n * Lanes::kWidth;
            Lanes::Store(out + offset, StripStep<kShift>(k, k.Substitution(target + offset, query + offset), cells[n]));
            Lanes::Store(out + kWidth + offset, cells[n].u);
        }
    }

private:
    template <Shift kShift>
    TAVIK_INLINE void Move() {
        if constexpr (kShift == Shift::up) {
            TAVIK_UNROLL
            for (int n = N - 1; n >= 0; --n) {
                auto& c = cells[n];
                c.x = Lanes::Up(c.x, n > 0 ? cells[n - 1].x : k.opened);
                c.x2 = Lanes::Up(c.x2, n > 0 ? cells[n - 1].x2 : k.opened);
                c.v = Lanes::Up(c.v, n > 0 ? cells[n - 1].v : k.unreachable_v);
            }
        } else if constexpr (kShift == Shift::down) {
            TAVIK_UNROLL
            for (int n = 0; n < N; ++n) {
                auto& c = cells[n];
                c.y = Lanes::Down(c.y, n + 1 < N ? cells[n + 1].y : k.opened);
                c.y2 = Lanes::Down(c.y2, n + 1 < N ? cells[n + 1].y2 : k.opened);
                c.u = Lanes::Down(c.u, n + 1 < N ? cells[n + 1].u : k.unreachable_u);
            }
        }
    }

    // Deletions enter from the border at target position 0, and insertions at query position 0.
    TAVIK_INLINE void EnterBorder(int r, int base) {
        const auto border_u = k.BorderOfU(r), border_v = k.BorderOfV(r);
        TAVIK_UNROLL
        for (int n = 0; n < N; ++n) {
            auto& c = cells[n];
            const int first = base + n * Lanes::kWidth;
            EnterGap(OnlyLane(-first), border_v, c.x, c.x2, c.v);
            EnterGap(OnlyLane(r - first), border_u, c.y, c.y2, c.u);
        }
    }

    const StripConstants k;
    StripLanes cells[static_cast<std::size_t>(N)];
};

}  // namespace
}  // namespace qel_minimap2::kernel
