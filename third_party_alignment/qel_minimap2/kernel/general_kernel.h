#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "third_party_alignment/qel_minimap2/kernel/alignment_call.h"
#include "third_party_alignment/qel_minimap2/kernel/lanes.h"
#include "third_party_alignment/qel_minimap2/kernel/maximum.h"
#include "third_party_alignment/qel_minimap2/kernel/scratch.h"
#include "third_party_alignment/qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// The first idea: the library's own recurrence, 32 lanes at a time instead of 16.
//
// The recurrence (Suzuki and Kasahara 2018, with the two gap pieces of Li 2018) keeps differences of neighbouring
// scores, which fit a byte, in lines indexed by the target position: u = H(i,j) - H(i-1,j), v = H(i,j) - H(i,j-1), and
// per gap piece x = E(i+1,j) - H(i,j) for deletions and y = F(i,j+1) - H(i,j) for insertions. An anti-diagonal needs
// only the one before it, so its cells are independent of each other: cell (i, r-i) takes x and v from lane i-1 and y
// and u from lane i of the lines that row r-1 left behind.
//
// Without a band every lane that a cell reads was computed for a cell, so the width of the blocks does not matter. With
// a band it does: the library computes whole blocks of 16, and the lanes beside the band, whose values mean nothing,
// are read by the cells at its edge in later rows. The banded form therefore computes the very same lanes: pairs of 16
// as 32, a last single block as 16. It also keeps the line of substitution scores, which the library writes only from
// the first cell on and only in blocks of 16 from there, since the lanes around it read what earlier rows left in it.

/// The state of the matrix between two anti-diagonals, one byte per target position, and the sequences.
struct Lines {
    std::int8_t *u, *v, *x, *y, *x2, *y2, *substitution;
    std::uint8_t *target, *reversed_query;

    static constexpr int kPadding = 64;

    /// False when there is no memory.
    bool Prepare(const AlignmentCall& call, const Scoring& scoring) {
        const auto target_room = static_cast<std::size_t>(RoundDown(call.target_length + 63, 64)) + kPadding;
        const auto query_room =
            static_cast<std::size_t>(RoundDown(call.query_length + 63, 64)) + 2 * std::size_t{kPadding};
        auto* memory = ScratchMemory(Scratch::lines, target_room * 8 + query_room + 3 * std::size_t{kPadding});
        if (memory == nullptr) {
            return false;
        }
        memory += kPadding;
        auto* signed_memory = static_cast<std::int8_t*>(static_cast<void*>(memory));
        for (auto* line : {&u, &v, &x, &y, &x2, &y2, &substitution}) {
            *line = signed_memory;
            signed_memory += target_room;
        }
        std::memset(u, -scoring.open - scoring.extend, 4 * target_room);
        std::memset(x2, -scoring.open2 - scoring.extend2, 2 * target_room);
        std::memset(substitution, 0, target_room);
        target = memory + 7 * target_room;
        const auto target_length = static_cast<std::size_t>(call.target_length);
        std::memcpy(target, call.target, target_length);
        std::memset(target + target_length, 0, target_room - target_length + kPadding);
        reversed_query = target + target_room + kPadding;
        for (int j = 0; j < call.query_length; ++j) {
            reversed_query[j] = call.query[call.query_length - 1 - j];
        }
        const auto query_length = static_cast<std::size_t>(call.query_length);
        std::memset(reversed_query + query_length, 0, query_room - kPadding - query_length);
        return true;
    }
};

/// The scoring in every lane.
template <typename Lanes>
struct Constants {
    using Register = typename Lanes::Register;

    Constants(const Scoring& s, int letters)
        : open(Lanes::All(s.open)),
          open2(Lanes::All(s.open2)),
          open_extend(Lanes::All(s.open + s.extend)),
          open_extend2(Lanes::All(s.open2 + s.extend2)),
          match(Lanes::All(s.match)),
          mismatch(Lanes::All(s.mismatch)),
          any(Lanes::All(s.any)),
          any_letter(Lanes::All(letters - 1)),
          zero(Lanes::All(0)) {}

    TAVIK_INLINE Register Substitution(const std::uint8_t* target, const std::uint8_t* query) const {
        const Register t = Lanes::Load(target);
        const Register q = Lanes::Load(query);
        const Register stands_for_any = Lanes::Or(Lanes::Equal(t, any_letter), Lanes::Equal(q, any_letter));
        return Lanes::Select(stands_for_any, any, Lanes::Select(Lanes::Equal(t, q), match, mismatch));
    }

    Register open, open2, open_extend, open_extend2, match, mismatch, any, any_letter, zero;
};

/// What the next block of lanes takes from the one before: their highest lanes.
struct Carry {
    __m128i x, v, x2;
};

/// One block of lanes of an anti-diagonal: `s` holds the substitution scores, the carried registers the block before.
template <typename Lanes, Trace kTrace>
TAVIK_INLINE void ComputeBlock(const Constants<Lanes>& k, const Lines& lines, int t, typename Lanes::Register s,
                               typename Lanes::Register (&carry)[3], std::uint8_t* directions) {
    using Register = typename Lanes::Register;
    const Register old_x = Lanes::Load(lines.x + t);
    const Register old_v = Lanes::Load(lines.v + t);
    const Register old_x2 = Lanes::Load(lines.x2 + t);
    const Register u = Lanes::Load(lines.u + t);
    const Register v = Lanes::Up(old_v, carry[1]);
    Register a = Lanes::Add(Lanes::Up(old_x, carry[0]), v);
    Register a2 = Lanes::Add(Lanes::Up(old_x2, carry[2]), v);
    Register b = Lanes::Add(Lanes::Load(lines.y + t), u);
    Register b2 = Lanes::Add(Lanes::Load(lines.y2 + t), u);
    carry[0] = old_x;
    carry[1] = old_v;
    carry[2] = old_x2;

    Register z = s;
    Register direction = k.zero;
    const auto offer = [&](Register value, int from) __attribute__((always_inline)) {
        // Gaps to the left: the earlier candidate stays on a tie; to the right: the later one takes it.
        if constexpr (kTrace == Trace::left) {
            direction = Lanes::Select(Lanes::Greater(value, z), Lanes::All(from), direction);
        } else if constexpr (kTrace == Trace::right) {
            direction = Lanes::Select(Lanes::Greater(z, value), direction, Lanes::All(from));
        }
        z = Lanes::Max(z, value);
    };
    offer(a, kFromDeletion);
    offer(b, kFromInsertion);
    offer(a2, kFromDeletion2);
    offer(b2, kFromInsertion2);
    // A score beyond a match's cannot be; where lanes beside the band would have one, the library cuts it too.
    z = Lanes::Min(z, k.match);
    Lanes::Store(lines.u + t, Lanes::Subtract(z, v));
    Lanes::Store(lines.v + t, Lanes::Subtract(z, u));

    const Register opened = Lanes::Subtract(z, k.open);
    const Register opened2 = Lanes::Subtract(z, k.open2);
    const auto extend = [&](Register gap, Register from, Register cost, int goes_on) __attribute__((always_inline)) {
        const Register gain = Lanes::Subtract(gap, from);
        if constexpr (kTrace == Trace::left) {
            direction = Lanes::Or(direction, Lanes::And(Lanes::Greater(gain, k.zero), Lanes::All(goes_on)));
        } else if constexpr (kTrace == Trace::right) {
            direction = Lanes::Or(direction, Lanes::AndNot(Lanes::Greater(k.zero, gain), Lanes::All(goes_on)));
        }
        return Lanes::Subtract(Lanes::Max(gain, k.zero), cost);
    };
    Lanes::Store(lines.x + t, extend(a, opened, k.open_extend, kDeletionGoesOn));
    Lanes::Store(lines.y + t, extend(b, opened, k.open_extend, kInsertionGoesOn));
    Lanes::Store(lines.x2 + t, extend(a2, opened2, k.open_extend2, kDeletion2GoesOn));
    Lanes::Store(lines.y2 + t, extend(b2, opened2, k.open_extend2, kInsertion2GoesOn));
    if constexpr (kTrace != Trace::none) {
        Lanes::Store(directions + t, direction);
    }
}

/// Aligns any call that there is a score for. Fields and CIGAR of the result are the library's.
/// The gaps between its members are the lanes' alignment.
template <bool kBanded, Trace kTrace>
class GeneralKernel {  // NOLINT(clang-analyzer-optin.performance.Padding)
public:
    /// `band` is not negative, and not below both lengths unless kBanded.
    GeneralKernel(const AlignmentCall& call, const Scoring& scoring, int band)
        : call(call),
          scoring(scoring),
          band(band),
          rows(call.query_length + call.target_length - 1),
          wide(scoring, call.letters),
          narrow(scoring, call.letters) {}

    /// False, with nothing done, when there is no memory.
    bool Run(ksw_extz_t& result) {
        PathRuns path;
        if (!lines.Prepare(call, scoring) || (kTrace != Trace::none && !(PrepareDirections() && path.Reserve(call)))) {
            return false;
        }
        if (call.Has(KSW_EZ_APPROX_MAX)) {
            Sweep(ApproximateMaximum(call, scoring), result);
        } else {
            const auto room = static_cast<std::size_t>(call.target_length) + ExactMaximum::kPadding;
            auto* scores = static_cast<void*>(ScratchMemory(Scratch::scores, room * sizeof(std::int32_t)));
            if (scores == nullptr) {
                return false;
            }
            Sweep(ExactMaximum(call, scoring, static_cast<std::int32_t*>(scores)), result);
        }
        if constexpr (kTrace != Trace::none) {
            TraceBack(path, result);
        }
        return true;
    }

private:
    static constexpr int kBlock = kBanded ? Lanes16::kWidth : Lanes32::kWidth;

    struct Range {
        int first, last;  // The cells of the row.
        int begin, end;   // The lanes that are computed, whole blocks.
    };

    Range RangeOf(int r) const {
        int first = Larger(0, r - call.query_length + 1);
        int last = Smaller(call.target_length - 1, r);
        if constexpr (kBanded) {
            first = Larger(first, (r - band + 1) >> 1);
            last = Smaller(last, (r + band) >> 1);
        }
        return {first, last, RoundDown(first, kBlock), RoundDown(last + kBlock, kBlock)};
    }

    bool PrepareDirections() {
        const int longest = Smaller(Smaller(call.query_length, call.target_length), kBanded ? band + 1 : INT32_MAX);
        row_size = static_cast<std::size_t>(RoundDown(longest + kBlock - 1, kBlock)) + kBlock;
        directions = ScratchMemory(Scratch::directions, static_cast<std::size_t>(rows) * row_size + Lanes32::kWidth);
        return directions != nullptr;
    }

    // Where lane 0 of a row's directions would lie.
    std::uint8_t* DirectionsOf(int r, const Range& range) const {
        return directions + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(r) * row_size) - range.begin;
    }

    template <typename Maximum>
    void Sweep(Maximum maximum, ksw_extz_t& result) {
        Range before{-1, -1, -1, -1};
        for (int r = 0; r < rows; ++r) {
            const Range range = RangeOf(r);
            if (range.first > range.last) {
                result.zdropped = 1;
                return;
            }
            ComputeRow(r, range, before);
            if (maximum.Add({r, range.first, range.last, r == rows - 1, lines.u, lines.v}, result)) {
                return;
            }
            before = range;
        }
    }

    TAVIK_INLINE void ComputeRow(int r, const Range& range, const Range& before) {
        const int gap = -scoring.open - scoring.extend;
        const int gap2 = -scoring.open2 - scoring.extend2;
        int x = gap;
        int v = gap;
        int x2 = gap2;
        const int left = range.begin - 1;
        if (range.begin == 0) {
            v = BorderStep(scoring, r);
        } else if (left >= before.begin && left < before.end) {
            x = lines.x[left];
            v = lines.v[left];
            x2 = lines.x2[left];
        }
        if (range.end > r) {
            lines.y[r] = static_cast<std::int8_t>(gap);
            lines.y2[r] = static_cast<std::int8_t>(gap2);
            lines.u[r] = static_cast<std::int8_t>(BorderStep(scoring, r));
        }
        Carry carry{Lanes16::All(x), Lanes16::All(v), Lanes16::All(x2)};
        const std::uint8_t* query = lines.reversed_query + (call.query_length - 1 - r);
        std::uint8_t* row_directions = kTrace == Trace::none ? nullptr : DirectionsOf(r, range);
        if (kBanded || call.Has(KSW_EZ_GENERIC_SC)) {
            WriteSubstitutions(range, query);
            const int t = Span<Lanes32, false>(wide, range.begin, range.end, carry, query, row_directions);
            if constexpr (kBanded) {
                Span<Lanes16, false>(narrow, t, range.end, carry, query, row_directions);
            }
        } else {
            Span<Lanes32, true>(wide, range.begin, range.end, carry, query, row_directions);
        }
    }

    TAVIK_INLINE void WriteSubstitutions(const Range& range, const std::uint8_t* query) {
        if (call.Has(KSW_EZ_GENERIC_SC)) {
            for (int t = range.first; t <= range.last; ++t) {
                lines.substitution[t] = call.matrix[lines.target[t] * call.letters + query[t]];
            }
            return;
        }
        const int end = range.first + RoundDown(range.last - range.first + 16, 16);
        int t = range.first;
        for (; t + Lanes32::kWidth <= end; t += Lanes32::kWidth) {
            Lanes32::Store(lines.substitution + t, wide.Substitution(lines.target + t, query + t));
        }
        if (t < end) {
            Lanes16::Store(lines.substitution + t, narrow.Substitution(lines.target + t, query + t));
        }
    }

    // Computes as many whole blocks of these lanes from t on as fit before `end`; returns where it stopped.
    template <typename Lanes, bool kOwnScores>
    TAVIK_INLINE int Span(const Constants<Lanes>& k, int t, int end, Carry& carry, const std::uint8_t* query,
                          std::uint8_t* row_directions) {
        if (t + Lanes::kWidth > end) {
            return t;
        }
        typename Lanes::Register registers[3] = {Lanes::FromTop(carry.x), Lanes::FromTop(carry.v),
                                                 Lanes::FromTop(carry.x2)};
        const Lines here = lines;  // A copy: for all that the compiler knows the stores of lanes may change the member.
        for (; t + Lanes::kWidth <= end; t += Lanes::kWidth) {
            const auto s = kOwnScores ? k.Substitution(here.target + t, query + t) : Lanes::Load(here.substitution + t);
            ComputeBlock<Lanes, kTrace>(k, here, t, s, registers, row_directions);
        }
        carry = {Lanes::Top(registers[0]), Lanes::Top(registers[1]), Lanes::Top(registers[2])};
        return t;
    }

    void TraceBack(PathRuns& path, ksw_extz_t& result) {
        int i = result.max_t;
        int j = result.max_q;
        if (!result.zdropped && !call.Has(KSW_EZ_EXTZ_ONLY)) {
            i = call.target_length - 1;
            j = call.query_length - 1;
        } else if (!result.zdropped && result.mqe + call.end_bonus > static_cast<int>(result.max)) {
            result.reach_end = 1;
            i = result.mqe_t;
            j = call.query_length - 1;
        } else if (i < 0 || j < 0) {
            return;
        }
        path.Walk(
            i, j, [this](int target, int query) __attribute__((always_inline))->int {
                const Range range = RangeOf(target + query);
                if (kBanded && target < range.begin) {
                    return kOutsideInsert;
                }
                if (kBanded && target >= range.end) {
                    return kOutsideDelete;
                }
                return DirectionsOf(target + query, range)[target];
            });
        path.Deliver(call, result);
    }

    const AlignmentCall& call;
    const Scoring& scoring;
    const int band;
    const int rows;
    const Constants<Lanes32> wide;
    const Constants<Lanes16> narrow;
    Lines lines{};
    std::uint8_t* directions = nullptr;
    std::size_t row_size = 0;  // Bytes.
};

}  // namespace
}  // namespace qel_minimap2::kernel
