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
// For x, y, u and v, see general_kernel.h. The gap lines are stored as X = x + open + extend, which is never negative.
// A saturating unsigned subtraction can therefore reset a gap that is too expensive to 0. The lines of the second gap
// piece are stored in the same way, with its own costs. The score lines are stored as U = u - open - extend + kBias and
// V = v - open - extend + kBias, so X + V is x + v plus the bias. Substitution scores also include the bias. For
// scorings that Fits accepts, all values are between 0 and 127, so signed and unsigned comparisons agree.
inline constexpr int kBias = 64;

/// Returns true for scorings whose biased differences fit into a byte. The second gap piece must cost less from some
/// length on: minimap2's border then costs the same as a gap, which is a condition of the proof in certified_band.h. No
/// pair of letters may cost more than two gaps of one base, because minimap2 refuses to align with such scores.
inline bool Fits(const Scoring& s) {
    const int gap = s.open + s.extend, gap2 = s.open2 + s.extend2;
    // The lowest biased value of a cell. It must not become negative when a gap is opened.
    const int lowest = kBias + s.mismatch;
    return gap <= gap2 && s.extend > s.extend2 && gap + gap2 <= 56 && s.match > 0 && s.match <= 20 &&
           s.mismatch >= -40 && s.mismatch < s.match && s.any <= s.match && -Smaller(s.mismatch, s.any) <= 2 * gap &&
           Larger(s.open, s.open2) <= lowest;
}

/// The padding of the two sequences: letters that differ from each base and from each other.
inline constexpr int kBesideTarget = 7;
inline constexpr int kBesideQuery = 9;

/// Returns BorderStep(s, r) in the form in which U and V are stored.
inline int BiasedBorder(const Scoring& s, int r) {
    return BorderStep(s, r) - s.open - s.extend + kBias;
}

alignas(32) inline constexpr std::int8_t kLaneNumbers[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                             11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
                                                             22, 23, 24, 25, 26, 27, 28, 29, 30, 31};

/// Selects the lane with this number, or no lane if none has it.
TAVIK_INLINE Register OnlyLane(int number) {
    return Lanes::Equal(Lanes::Load(kLaneNumbers), Lanes::All(number < 0 || number >= Lanes::kWidth ? 127 : number));
}

struct StripConstants {
    explicit StripConstants(const Scoring& s)
        : zero(Lanes::All(0)),
          unreachable(Lanes::All(kBias - 2 * (s.open + s.extend))),
          substitutions(
              Lanes::Select(Lanes::FirstOfSixteen(), Lanes::All(s.match + kBias), Lanes::All(s.mismatch + kBias))),
          open(Lanes::All(s.open)),
          open2(Lanes::All(s.open2)),
          second_more(Lanes::All(s.open2 + s.extend2 - s.open - s.extend)) {}

    TAVIK_INLINE Register Substitution(const std::uint8_t* target, const std::uint8_t* query) const {
        return Lanes::LookUp(substitutions, Lanes::Xor(Lanes::Load(target), Lanes::Load(query)));
    }

    Register zero;
    Register unreachable;    // U and V of a cell that no path reaches. Added to a cell's biased value, it corrects the
                             // bias of the new U and V.
    Register substitutions;  // The biased score of two letters, indexed by their XOR, which is 0 for a match.
    Register open, open2;
    Register second_more;  // How much more a gap of one base costs in the second piece than in the first.
};

/// The six difference lines of a register of cells.
struct StripLanes {
    Register x, y, x2, y2, u, v;
};

/// Computes a register of cells and returns their direction bytes. `s` has the cells' biased substitution scores.
/// Before the call, `c` has the values of the cells' neighbours; after the call, it has the values of the cells.
template <Trace kTrace>
TAVIK_INLINE Register StripStep(const StripConstants& k, Register s, StripLanes& c) {
    using L = Lanes;
    const Register a = L::Add(c.x, c.v);
    const Register b = L::Add(c.y, c.u);
    const Register a2 = L::Add(c.x2, L::Subtract(c.v, k.second_more));
    const Register b2 = L::Add(c.y2, L::Subtract(c.u, k.second_more));
    const Register z = L::Max(L::Max(s, L::Max(b, b2)), L::Max(a, a2));

    // Each candidate is compared with the maximum. The order of these comparisons decides which of several equal
    // candidates wins.
    Register direction = k.zero;
    const auto set_where = [&](Register value, int from) __attribute__((always_inline)) {
        direction = L::Select(L::Equal(z, value), L::All(from), direction);
    };
    if constexpr (kTrace == Trace::left) {
        direction = L::Add(L::All(kFromInsertion2), L::Equal(z, a2));
        set_where(b, kFromInsertion);
        set_where(a, kFromDeletion);
        direction = L::AndNot(L::Equal(z, s), direction);
    } else if constexpr (kTrace == Trace::right) {
        direction = L::And(L::Equal(z, a), L::All(kFromDeletion));
        set_where(b, kFromInsertion);
        set_where(a2, kFromDeletion2);
        set_where(b2, kFromInsertion2);
    }

    const Register rebiased = L::Add(z, k.unreachable);
    const Register new_u = L::Subtract(rebiased, c.v);
    c.v = L::Subtract(rebiased, c.u);
    c.u = new_u;
    const Register opened = L::Subtract(z, k.open);
    const Register opened2 = L::Subtract(z, k.open2);
    const auto extend = [&](Register gap, Register from, int goes_on) __attribute__((always_inline)) {
        const Register gain = L::SubtractOrZero(gap, from);
        if constexpr (kTrace == Trace::left) {
            direction = L::Or(direction, L::WhereAboveZero(gain, L::All(goes_on)));
        } else if constexpr (kTrace == Trace::right) {
            direction = L::Or(direction, L::And(L::Equal(L::Max(gap, from), gap), L::All(goes_on)));
        }
        return gain;
    };
    c.x = extend(a, opened, kDeletionGoesOn);
    c.y = extend(b, opened, kInsertionGoesOn);
    c.x2 = extend(a2, opened2, kDeletion2GoesOn);
    c.y2 = extend(b2, opened2, kInsertion2GoesOn);
    return direction;
}

/// Sets two gap lines and a score line to the values of the border in the lanes that `at` selects.
TAVIK_INLINE void EnterGap(Register at, Register border, Register& gap, Register& gap2, Register& score) {
    gap = Lanes::AndNot(at, gap);
    gap2 = Lanes::AndNot(at, gap2);
    score = Lanes::Select(at, border, score);
}

/// How a strip moves from one row to the next. `none`: this is the strip's first row. `up`: the strip stays at its
/// target positions, so values from the position before move up by one lane. `down`: the strip moves by one target
/// position, so values from the same position move down by one lane.
enum class Shift { none, up, down };

/// The difference lines for N registers of neighbouring target positions. They stay in registers from row to row.
template <int N>
class Strip {
public:
    static constexpr int kWidth = N * Lanes::kWidth;

    /// Starts with cells that no path reaches.
    explicit Strip(const Scoring& scoring) : scoring(scoring), k(scoring) {
        for (auto& c : cells) {
            c = {k.zero, k.zero, k.zero, k.zero, k.unreachable, k.unreachable};
        }
    }

    StripLanes& Cells(int n) { return cells[n]; }

    /// Computes row r from target position `base` on and writes kWidth bytes to `directions`. `target` points to the
    /// letter of that position, and `query` to the query letter of the same cell. Only with kBorder may the row include
    /// the first position of a sequence.
    template <Trace kTrace, Shift kShift, bool kBorder>
    TAVIK_INLINE void Row(int r, int base, const std::uint8_t* target, const std::uint8_t* query,
                          std::uint8_t* directions) {
        Move<kShift>();
        if constexpr (kBorder) {
            EnterBorder(r, base);
        }
        TAVIK_UNROLL
        for (int n = 0; n < N; ++n) {
            const int offset = n * Lanes::kWidth;
            Lanes::Store(directions + offset,
                         StripStep<kTrace>(k, k.Substitution(target + offset, query + offset), cells[n]));
        }
    }

private:
    template <Shift kShift>
    TAVIK_INLINE void Move() {
        if constexpr (kShift == Shift::up) {
            TAVIK_UNROLL
            for (int n = N - 1; n >= 0; --n) {
                auto& c = cells[n];
                c.x = Lanes::Up(c.x, n > 0 ? cells[n - 1].x : k.zero);
                c.x2 = Lanes::Up(c.x2, n > 0 ? cells[n - 1].x2 : k.zero);
                c.v = Lanes::Up(c.v, n > 0 ? cells[n - 1].v : k.unreachable);
            }
        } else if constexpr (kShift == Shift::down) {
            TAVIK_UNROLL
            for (int n = 0; n < N; ++n) {
                auto& c = cells[n];
                c.y = Lanes::Down(c.y, n + 1 < N ? cells[n + 1].y : k.zero);
                c.y2 = Lanes::Down(c.y2, n + 1 < N ? cells[n + 1].y2 : k.zero);
                c.u = Lanes::Down(c.u, n + 1 < N ? cells[n + 1].u : k.unreachable);
            }
        }
    }

    // Deletions enter from the border at target position 0, and insertions at query position 0.
    TAVIK_INLINE void EnterBorder(int r, int base) {
        const auto border = Lanes::All(BiasedBorder(scoring, r));
        TAVIK_UNROLL
        for (int n = 0; n < N; ++n) {
            auto& c = cells[n];
            const int first = base + n * Lanes::kWidth;
            EnterGap(OnlyLane(-first), border, c.x, c.x2, c.v);
            EnterGap(OnlyLane(r - first), border, c.y, c.y2, c.u);
        }
    }

    const Scoring& scoring;
    const StripConstants k;
    StripLanes cells[static_cast<std::size_t>(N)];
};

}  // namespace
}  // namespace qel_minimap2::kernel
