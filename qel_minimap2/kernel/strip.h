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
// For x, y, u and v, see general_kernel.h. Each byte of a line holds kScale times a number that is never negative, plus
// a tag below kScale:
//
//     line  number               tag
//     x     x + open + extend    0
//     x2    x2 + open2 + extend2 0
//     v     v + open + extend    that of a deletion
//     y     y + open + extend    0
//     y2    y2 + open2 + extend2 0
//     u     u + open + extend    that of an insertion
//
// A newly opened gap has the number 0, so a saturating subtraction chooses the better of an extended gap and a new one.
//
// The sum of a gap line (x, x2, y or y2) and a score line (v or u) is a candidate. It shows how much more the cell
// would score than the previous cell on its diagonal: this difference times kScale, plus the candidate's tag, plus a
// constant that is the same for all candidates. From a line of the second gap piece, `second_piece` is subtracted
// first, which corrects the constant and the tag. If the result saturates at 0, it does not affect the maximum, because
// the line of the first gap piece is never lower. The maximum of the candidates has the best score and, in its tag, the
// direction that wins a tie. The new u and v follow from the bits above the tag.
inline constexpr int kScale = 8;

/// The tags of the candidates, in the order of the directions in trace_back.h: the tag of kFromDiagonal is `diagonal`,
/// and each further direction adds `step`.
struct Tags {
    int diagonal, step;

    constexpr int Deletion() const { return diagonal + step; }
    constexpr int Insertion() const { return diagonal + 2 * step; }
};

/// Of several candidates with the same score, the one with the highest tag wins. The tags of a deletion and an
/// insertion add up to kScale - 1: StripStep sets all bits of the best candidate's tag, then subtracts the old v to get
/// the new u, and the old u to get the new v.
inline constexpr Tags TagsOf(Trace trace) {
    return trace == Trace::left ? Tags{5, -1} : Tags{2, 1};
}

/// Returns true for scorings whose lines and candidates fit into bytes. `s` must fit the general kernel. The highest
/// value is that of a line of the second gap piece: its number, at most open2, plus what is added to extend the gap.
inline bool FitsStrip(const Scoring& s) {
    const int gap = s.open + s.extend, gap2 = s.open2 + s.extend2;
    const int highest = s.open2 + gap - s.extend2;
    return gap < gap2 && kScale * highest + kScale - 1 <= UINT8_MAX && s.match + 2 * gap <= 15;
}

/// The padding of the two sequences: letters that differ from each base and from each other.
inline constexpr int kBesideTarget = 7;
inline constexpr int kBesideQuery = 9;

alignas(32) inline constexpr std::int8_t kLaneNumbers[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                             11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
                                                             22, 23, 24, 25, 26, 27, 28, 29, 30, 31};

/// Returns a register in which all bits are set except those of lane `number`. The number may be outside the register.
TAVIK_INLINE Register AllLanesBut(int number) {
    alignas(32) static constexpr std::int8_t kOneZero[64] = {
        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
        -1, -1, -1, -1, -1, -1, -1, -1, -1, 0,  -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    return Lanes::Load(kOneZero + (number >= 0 && number < Lanes::kWidth ? 31 - number : 32));
}

/// Constants for one scoring and one side on which gaps are placed. Each register except `substitutions` has the same
/// value in every lane.
struct StripConstants {
    StripConstants(const Scoring& s, Trace trace)
        : scoring(s),
          trace(trace),
          gap(s.open + s.extend),
          tags(TagsOf(trace)),
          opened(Lanes::All(0)),
          unreachable_u(ScoreLine(-gap, tags.Insertion())),
          unreachable_v(ScoreLine(-gap, tags.Deletion())),
          substitutions(Lanes::Select(Lanes::FirstOfSixteen(), Substituted(s.match), Substituted(s.mismatch))),
          second_piece(Lanes::All(kScale * (s.open2 + s.extend2 - gap) - 2 * tags.step)),
          all_tags(Lanes::All(kScale - 1)),
          before_u(BeforeScore(s.extend, tags.Insertion())),
          before_v(BeforeScore(s.extend, tags.Deletion())),
          before_u2(BeforeScore(s.extend2, tags.Insertion())),
          before_v2(BeforeScore(s.extend2, tags.Deletion())) {}

    TAVIK_INLINE Register Substitution(const std::uint8_t* target, const std::uint8_t* query) const {
        return Lanes::LookUp(substitutions, Lanes::Xor(Lanes::Load(target), Lanes::Load(query)));
    }

    /// The values of u and v on the border in row r.
    Register BorderOfU(int r) const { return ScoreLine(BorderStep(scoring, r), tags.Insertion()); }
    Register BorderOfV(int r) const { return ScoreLine(BorderStep(scoring, r), tags.Deletion()); }

    const Scoring& scoring;
    const Trace trace;
    const int gap;  // The cost of a gap of one base.
    const Tags tags;
    Register opened;                        // The value of a gap line where a newly opened gap is best.
    Register unreachable_u, unreachable_v;  // Of cells that no path reaches.
    Register substitutions;  // The candidate for two letters, indexed by their XOR, which is 0 for a match.
    Register second_piece;   // Subtracted from a line of the second gap piece to make a candidate.
    Register all_tags;
    // To extend a gap, StripStep adds one of these to the gap line and subtracts the cell's new u or v.
    Register before_u, before_v, before_u2, before_v2;

private:
    Register ScoreLine(int step, int tag) const { return Lanes::All(kScale * (step + gap) + tag); }
    Register Substituted(int score) const { return Lanes::All(kScale * (score + 2 * gap) + tags.diagonal); }
    Register BeforeScore(int extend, int tag) const { return Lanes::All(kScale * (gap - extend) + tag); }
};

/// The six difference lines of a register of cells.
struct StripLanes {
    Register x, y, x2, y2, u, v;
};

/// How a strip moves from one row to the next. `none`: this is the strip's first row. `up`: the strip stays at its
/// target positions, so values from the previous position move up by one lane. `down`: the strip moves by one target
/// position, so values from the same position move down by one lane.
enum class Shift { none, up, down };

/// Computes a register of cells and returns their best candidates. `s` has the candidates for substitutions. Before the
/// call, `c` has the values of the cells' neighbours; after the call, it has the values of the cells.
///
/// A row depends on the previous row, so the longest chain of dependent operations limits the speed of narrow strips.
/// The chain leads through the lines that were shifted for this row (x, x2 and v by `up`; y, y2 and u by `down`). These
/// lines are used last, and the lines that the next row of a band shifts are computed first.
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
    const auto candidate = [&](Register gap, Register gap2, Register score) __attribute__((always_inline)) {
        return L::Add(L::Max(gap, L::SubtractDownToZero(gap2, k.second_piece)), score);
    };
    const Register early = L::Max(s, candidate(early_gap, early_gap2, early_score));
    const Register late = candidate(late_gap, late_gap2, late_score);
    const Register best = L::Max(early, late);
    const Register cell = L::Or(best, k.all_tags);
    const Register new_early_score = L::Subtract(cell, late_score);
    late_score = L::Subtract(cell, early_score);
    early_score = new_early_score;

    // Gap lines are relative to a cell's score, so an extended gap loses the difference of the scores (u or v) and the
    // cost of one more base.
    const auto extend = [&](Register & gap, Register before, Register score) __attribute__((always_inline)) {
        gap = L::SubtractDownToZero(L::Add(gap, before), score);
    };
    extend(early_gap, kUp ? k.before_v : k.before_u, late_score);
    extend(early_gap2, kUp ? k.before_v2 : k.before_u2, late_score);
    extend(late_gap, kUp ? k.before_u : k.before_v, early_score);
    extend(late_gap2, kUp ? k.before_u2 : k.before_v2, early_score);
    return best;
}

/// In one lane, opens a gap of each gap piece and sets the score line to the value of the border. `others` comes from
/// AllLanesBut.
TAVIK_INLINE void EnterGap(Register others, Register border, Register& gap, Register& gap2, Register& score) {
    gap = Lanes::And(gap, others);
    gap2 = Lanes::And(gap2, others);
    score = Lanes::Select(others, score, border);
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
    /// cells, then their u. `target` points to the target letter at `base`, and `query` to the query letter of the
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
            EnterGap(AllLanesBut(-first), border_v, c.x, c.x2, c.v);
            EnterGap(AllLanesBut(r - first), border_u, c.y, c.y2, c.u);
        }
    }

    const StripConstants k;
    StripLanes cells[static_cast<std::size_t>(N)];
};

}  // namespace
}  // namespace qel_minimap2::kernel
