#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/maximum.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/scratch.h"
#include "qel_minimap2/kernel/strip.h"
#include "qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// The fourth method of base_alignment.h: minimap2's own recurrence, computed in complete registers.
//
// The recurrence (Suzuki and Kasahara 2018, with the two gap pieces of Li 2018) stores differences of neighbouring
// scores, which fit into a byte, in lines that are indexed by the target position:
//
//     u = H(i,j) - H(i-1,j)
//     v = H(i,j) - H(i,j-1)
//     x = E(i+1,j) - H(i,j)      for deletions, one line for each gap piece
//     y = F(i,j+1) - H(i,j)      for insertions, one line for each gap piece
//
// Cell (i, r-i) takes x and v from lane i-1, and y and u from lane i, as these lines are after row r-1. The cells of
// a row are therefore independent of each other.
//
// Without a band limit, every lane that a cell reads was computed for a cell or set to the border's value, so the width
// of the registers does not matter. With a band limit, it does: minimap2 computes complete registers of 16 lanes, and
// cells at the band's edge read meaningless lanes that were outside the band in an earlier row. The banded form
// therefore writes exactly the lanes that minimap2 writes: if the last register has 32 lanes and minimap2 computes 16
// of them, only these are stored. Like minimap2, the banded form also has a line of substitution scores. minimap2
// writes 16 of these scores at a time, from the first cell on. In the lanes before and after them, it reads scores of
// earlier rows.

/// Returns true for scorings with these properties:
///
/// - The differences of scores, and sums of two of them, fit into a signed byte.
/// - The second gap piece costs less from some length on. minimap2's border then costs the same as a gap, which is a
///   condition of the proof in certified_band.h.
/// - Opening a gap costs something, a longer gap does not cost less, and only equal bases score a match. These are
///   conditions of the proof in equal_ends.h.
/// - No pair of letters costs more than two gaps of one base. minimap2 refuses to align with other scores.
inline bool Fits(const Scoring& s) {
    const int gap = s.open + s.extend, gap2 = s.open2 + s.extend2;
    return gap <= gap2 && s.open > 0 && s.extend > s.extend2 && s.extend2 >= 0 && gap + gap2 <= 56 && s.match > 0 &&
           s.match <= 20 && s.mismatch >= -40 && s.mismatch < s.match && s.any < s.match &&
           -Smaller(s.mismatch, s.any) <= 2 * gap && Larger(s.open, s.open2) <= 64 + s.mismatch;
}

/// The number of lanes that minimap2 computes at once.
inline constexpr int kHalfRegister = 16;

/// The lines of the recurrence between two rows, one byte per target position.
struct Lines {
    std::int8_t *u, *v, *x, *y, *x2, *y2, *substitution;

    static constexpr int kPadding = 64;

    /// Returns false if there is no memory. Lanes are initialised only with a band limit: without it, their values do
    /// not matter before they are computed.
    template <bool kBanded>
    bool Prepare(const AlignmentCall& call, const Scoring& scoring) {
        const auto room = static_cast<std::size_t>(RoundDown(call.target_length + 63, 64)) + kPadding;
        auto* memory = static_cast<std::int8_t*>(static_cast<void*>(ScratchMemory(Scratch::lines, room * 7)));
        if (memory == nullptr) {
            return false;
        }
        for (auto* line : {&u, &v, &x, &y, &x2, &y2, &substitution}) {
            *line = memory;
            memory += room;
        }
        if constexpr (kBanded) {
            std::memset(u, -scoring.open - scoring.extend, 4 * room);
            std::memset(x2, -scoring.open2 - scoring.extend2, 2 * room);
            std::memset(substitution, 0, room);
        }
        return true;
    }
};

/// Registers with the same number in every lane.
struct Constants {
    explicit Constants(const Scoring& s)
        : open(Lanes::All(s.open)),
          open2(Lanes::All(s.open2)),
          open_extend(Lanes::All(s.open + s.extend)),
          open_extend2(Lanes::All(s.open2 + s.extend2)),
          match(Lanes::All(s.match)),
          mismatch(Lanes::All(s.mismatch)),
          any(Lanes::All(s.any)),
          any_letter(Lanes::All(kLetters - 1)),
          zero(Lanes::All(0)) {}

    TAVIK_INLINE Register Substitution(const std::uint8_t* target, const std::uint8_t* query) const {
        const Register t = Lanes::Load(target);
        const Register q = Lanes::Load(query);
        const Register stands_for_any = Lanes::Or(Lanes::Equal(t, any_letter), Lanes::Equal(q, any_letter));
        return Lanes::Select(stands_for_any, any, Lanes::Select(Lanes::Equal(t, q), match, mismatch));
    }

    Register open, open2, open_extend, open_extend2, match, mismatch, any, any_letter, zero;
};

/// For each of three lines, the register before the current one, whose highest lane moves into the current one.
struct RegisterBefore {
    Register x, v, x2;
};

/// Computes the register of lanes from target position t on. `s` has their substitution scores. Sets `before` to what
/// the next register needs. With kHalf, only the lowest 16 lanes are stored.
template <Trace kTrace, bool kHalf>
TAVIK_INLINE void ComputeRegister(const Constants& k, const Lines& lines, int t, Register s, RegisterBefore& before,
                                  std::uint8_t* directions) {
    const Register old_x = Lanes::Load(lines.x + t);
    const Register old_v = Lanes::Load(lines.v + t);
    const Register old_x2 = Lanes::Load(lines.x2 + t);
    const Register u = Lanes::Load(lines.u + t);
    const Register v = Lanes::Up(old_v, before.v);
    Register a = Lanes::Add(Lanes::Up(old_x, before.x), v);
    Register a2 = Lanes::Add(Lanes::Up(old_x2, before.x2), v);
    Register b = Lanes::Add(Lanes::Load(lines.y + t), u);
    Register b2 = Lanes::Add(Lanes::Load(lines.y2 + t), u);
    before = {old_x, old_v, old_x2};

    Register z = s;
    Register direction = k.zero;
    const auto offer = [&](Register value, int from) __attribute__((always_inline)) {
        // On a tie, the first candidate wins if gaps are placed left, and the last one if they are placed right.
        if constexpr (kTrace == Trace::left) {
            direction = Lanes::Select(Lanes::Greater(value, z), Lanes::All(from), direction);
        } else {
            direction = Lanes::Select(Lanes::Greater(z, value), direction, Lanes::All(from));
        }
        z = Lanes::Max(z, value);
    };
    offer(a, kFromDeletion);
    offer(b, kFromInsertion);
    offer(a2, kFromDeletion2);
    offer(b2, kFromInsertion2);
    // minimap2 limits all lanes to the score of a match. Only lanes outside the band can exceed this score.
    z = Lanes::Min(z, k.match);
    const auto store = [](auto* to, Register lanes) __attribute__((always_inline)) {
        if constexpr (kHalf) {
            Lanes::StoreSixteen(to, lanes);
        } else {
            Lanes::Store(to, lanes);
        }
    };
    store(lines.u + t, Lanes::Subtract(z, v));
    store(lines.v + t, Lanes::Subtract(z, u));

    const Register opened = Lanes::Subtract(z, k.open);
    const Register opened2 = Lanes::Subtract(z, k.open2);
    const auto extend = [&](Register gap, Register from, Register cost, int goes_on) __attribute__((always_inline)) {
        const Register gain = Lanes::Subtract(gap, from);
        if constexpr (kTrace == Trace::left) {
            direction = Lanes::Or(direction, Lanes::And(Lanes::Greater(gain, k.zero), Lanes::All(goes_on)));
        } else {
            direction = Lanes::Or(direction, Lanes::AndNot(Lanes::Greater(k.zero, gain), Lanes::All(goes_on)));
        }
        return Lanes::Subtract(Lanes::Max(gain, k.zero), cost);
    };
    store(lines.x + t, extend(a, opened, k.open_extend, kDeletionGoesOn));
    store(lines.y + t, extend(b, opened, k.open_extend, kInsertionGoesOn));
    store(lines.x2 + t, extend(a2, opened2, k.open_extend2, kDeletion2GoesOn));
    store(lines.y2 + t, extend(b2, opened2, k.open_extend2, kInsertion2GoesOn));
    store(directions + t, direction);
}

/// Aligns any call that AlignBases accepts. The result's fields and CIGAR are minimap2's, except for the fields that
/// AlignBases does not compute. The padding between the members aligns registers.
template <bool kBanded, Trace kTrace>
class GeneralKernel {  // NOLINT(clang-analyzer-optin.performance.Padding)
public:
    /// `band` must not be negative. Without kBanded, it must be at least the length of the longer sequence.
    GeneralKernel(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences, int band)
        : call(call),
          scoring(scoring),
          sequences(sequences),
          band(band),
          rows(call.query_length + call.target_length - 1),
          k(scoring) {}

    /// Returns false, without changes, if there is no memory.
    bool Run(ksw_extz_t& result) {
        PathRuns path(call);
        if (!lines.template Prepare<kBanded>(call, scoring) || !PrepareDirections() || !path.Reserve()) {
            return false;
        }
        if (call.Has(KSW_EZ_APPROX_MAX)) {
            Sweep(NoMaximum(), result);
        } else {
            const auto room = static_cast<std::size_t>(call.target_length) + ExactMaximum::kPadding;
            auto* scores = static_cast<void*>(ScratchMemory(Scratch::scores, room * sizeof(std::int32_t)));
            if (scores == nullptr) {
                return false;
            }
            Sweep(ExactMaximum(call, scoring, static_cast<std::int32_t*>(scores)), result);
        }
        TraceBack(path, result);
        if (call.Has(KSW_EZ_APPROX_MAX)) {
            result.score = path.Score(scoring);
        }
        return true;
    }

private:
    static constexpr int kLanes = kBanded ? kHalfRegister : Lanes::kWidth;

    struct Range {
        int first, last;  // The cells of the row.
        int begin, end;   // The lanes that are computed, rounded to complete registers.
    };

    Range RangeOf(int r) const {
        int first = Larger(0, r - call.query_length + 1);
        int last = Smaller(call.target_length - 1, r);
        if constexpr (kBanded) {
            first = Larger(first, (r - band + 1) >> 1);
            last = Smaller(last, (r + band) >> 1);
        }
        return {first, last, RoundDown(first, kLanes), RoundDown(last + kLanes, kLanes)};
    }

    bool PrepareDirections() {
        const int longest = Smaller(Smaller(call.query_length, call.target_length), kBanded ? band + 1 : INT32_MAX);
        row_size = static_cast<std::size_t>(RoundDown(longest + kLanes - 1, kLanes)) + kLanes;
        directions = ScratchMemory(Scratch::way_back, static_cast<std::size_t>(rows) * row_size + Lanes::kWidth);
        return directions != nullptr;
    }

    // Returns the address that lane 0 of a row's directions would have, which may be before the row's first byte.
    std::uint8_t* DirectionsOf(int r, const Range& range) const {
        return directions + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(r) * row_size) - range.begin;
    }

    // An extension may end early, because its callers read only the best cell and the best end of the query. With a
    // band limit, two more conditions must hold. No row may be empty, because an empty row counts as a drop. Lanes
    // beyond the limit may be read only for insertions: such lanes cannot raise a cell's score to more than a match
    // above the cell before it on its diagonal.
    bool MayEndEarly() const {
        return call.Has(KSW_EZ_EXTZ_ONLY) &&
               (!kBanded || (call.query_length <= band && call.target_length - call.query_length <= band));
    }

    template <typename Maximum>
    void Sweep(Maximum maximum, ksw_extz_t& result) {
        int begin_before = 0;
        for (int r = 0; r < rows; ++r) {
            const Range range = RangeOf(r);
            if (range.first > range.last) {
                result.zdropped = 1;
                return;
            }
            ComputeRow(r, range, begin_before);
            const FinishedRow row{r, range.first, range.last, r == rows - 1, lines.u, lines.v};
            if (maximum.Add(row, result) || (MayEndEarly() && maximum.NothingBetterFollows(row, result))) {
                return;
            }
            begin_before = range.begin;
        }
    }

    TAVIK_INLINE void ComputeRow(int r, const Range& range, int begin_before) {
        const int gap = -scoring.open - scoring.extend;
        const int gap2 = -scoring.open2 - scoring.extend2;
        int x = gap;
        int v = gap;
        int x2 = gap2;
        if (range.begin == 0) {
            v = BorderStep(scoring, r);
        } else if (range.begin > begin_before) {  // Otherwise, the row before did not compute lane `begin - 1`.
            const int left = range.begin - 1;
            x = lines.x[left];
            v = lines.v[left];
            x2 = lines.x2[left];
        }
        if (range.end > r) {
            lines.y[r] = static_cast<std::int8_t>(gap);
            lines.y2[r] = static_cast<std::int8_t>(gap2);
            lines.u[r] = static_cast<std::int8_t>(BorderStep(scoring, r));
        }
        RegisterBefore before_begin{Lanes::All(x), Lanes::All(v), Lanes::All(x2)};
        if constexpr (kBanded) {
            WriteSubstitutions(r, range);
        }
        ComputeRegisters(r, range, before_begin);
    }

    TAVIK_INLINE void WriteSubstitutions(int r, const Range& range) {
        const std::uint8_t* target = sequences.target;
        const std::uint8_t* query = sequences.QueryOpposite(r);
        const int end = range.first + RoundDown(range.last - range.first + kHalfRegister, kHalfRegister);
        int t = range.first;
        for (; t + Lanes::kWidth <= end; t += Lanes::kWidth) {
            Lanes::Store(lines.substitution + t, k.Substitution(target + t, query + t));
        }
        if (t < end) {
            Lanes::StoreSixteen(lines.substitution + t, k.Substitution(target + t, query + t));
        }
    }

    TAVIK_INLINE void ComputeRegisters(int r, const Range& range, RegisterBefore before) {
        const Lines here = lines;  // A copy, because the compiler must assume that stores change the member.
        const std::uint8_t* target = sequences.target;
        const std::uint8_t* query = sequences.QueryOpposite(r);
        std::uint8_t* row_directions = DirectionsOf(r, range);
        int t = range.begin;
        for (; t + Lanes::kWidth <= range.end; t += Lanes::kWidth) {
            const auto s = kBanded ? Lanes::Load(here.substitution + t) : k.Substitution(target + t, query + t);
            ComputeRegister<kTrace, false>(k, here, t, s, before, row_directions);
        }
        if (kBanded && t < range.end) {
            ComputeRegister<kTrace, true>(k, here, t, Lanes::Load(here.substitution + t), before, row_directions);
        }
    }

    void TraceBack(PathRuns& path, ksw_extz_t& result) {
        const auto end = EndOfPath(call, result);
        if (end.target < 0 || end.query < 0) {
            return;
        }
        path.Walk(
            end.target, end.query, [this](int target, int query) __attribute__((always_inline))->int {
                const Range range = RangeOf(target + query);
                if (kBanded && (target < range.begin || target >= range.end)) {
                    return target < range.begin ? kFromInsertion : kFromDeletion;  // Outside the band, a gap.
                }
                return DirectionsOf(target + query, range)[target];
            });
        path.Deliver(result);
    }

    const AlignmentCall& call;
    const Scoring& scoring;
    const PaddedSequences& sequences;
    const int band;
    const int rows;
    const Constants k;
    Lines lines{};
    std::uint8_t* directions = nullptr;
    std::size_t row_size = 0;  // In bytes.
};

}  // namespace
}  // namespace qel_minimap2::kernel
