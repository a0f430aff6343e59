#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

// A break is a stretch of the query that the target has on none of a range of diagonals. A path within this range has
// a mismatch or a gap in each break: a deletion between two of its bases, or an insertion of some of them.

inline constexpr int kBreakRange = 192;  // Diagonals.
inline constexpr int kShortestBreak = 4;
inline constexpr int kBetweenBreaks = 2;  // At least as many bases lie between two breaks.

/// In each lane four bases, 2 bits each. The highest two are those of `last`, the next ones lie `step` letters before.
TAVIK_INLINE Register FourBases(const std::uint8_t* last, std::ptrdiff_t step) {
    Register bases = Lanes::Load(last);
    for (int n = 1; n < kShortestBreak; ++n) {
        const Register twice = Lanes::Add(bases, bases);
        bases = Lanes::Add(Lanes::Add(twice, twice), Lanes::Load(last - n * step));
    }
    return bases;
}

/// Counts the breaks of sequences that have only bases, for the diagonals i - j from `first` on, which the lengths of
/// the sequences put near the middle: the band of these diagonals must be able to prove a path (see Band), which also
/// limits the difference of the lengths. Returns 0 when there is no memory.
inline int CountBreaks(const PaddedSequences& sequences, int first) {
    constexpr int kRegisters = kBreakRange / Lanes::kWidth;
    constexpr int kBeside = 256;  // Places before and after the target's own. Padding may equal bases and hide breaks.
    const int query_length = static_cast<int>(sequences.query_length);
    const int target_size = static_cast<int>(sequences.target_length) + 2 * kBeside;
    auto* const target = ScratchMemory(Scratch::lines, static_cast<std::size_t>(target_size + query_length) + 64);
    if (target == nullptr) {
        return 0;
    }
    for (int t = 0; t < target_size; t += Lanes::kWidth) {
        Lanes::Store(target + t, FourBases(sequences.target - kBeside + t + kShortestBreak - 1, 1));
    }
    auto* const reversed_query = target + target_size;
    for (int q = 0; q < query_length; q += Lanes::kWidth) {
        Lanes::Store(reversed_query + q, FourBases(sequences.reversed_query + q, -1));
    }
    const std::uint8_t* const opposite = target + kBeside + first;
    int count = 0;
    for (int at = 0; true; at += kShortestBreak - 1 + kBetweenBreaks) {
        Register equal[kRegisters];  // Diagonals on which all bases so far are equal.
        for (auto& e : equal) {
            e = Lanes::All(-1);
        }
        for (bool found = true; found; ++at) {
            if (at + kShortestBreak > query_length) {
                return count;
            }
            const Register bases = Lanes::All(reversed_query[query_length - kShortestBreak - at]);
            Register any = Lanes::All(0);
            TAVIK_UNROLL
            for (int n = 0; n < kRegisters; ++n) {
                const int place = at + n * Lanes::kWidth;
                equal[n] = Lanes::And(equal[n], Lanes::Equal(Lanes::Load(opposite + place), bases));
                any = Lanes::Or(any, equal[n]);
            }
            found = Lanes::HasAny(any);
        }
        ++count;
    }
}

/// How much a path loses at least that has an edit in each of `breaks` and inserts `insertions` query bases or more,
/// in addition to these insertions in one gap and the deletions that they force in another one.
///
/// Each further gap or mismatch costs `price` or more, compared with these gaps, but an insertion of several bases may
/// lie in several breaks. Only the longest one need lie in more than two, since a gap's cost is concave: another one
/// can leave all but the bases from one break to the next to the longest. For the same reason the bound is the lower
/// one of two extremes: all insertions in one gap, or all in gaps that just reach from one break to the next. More
/// insertions, each with a deletion, cost `price` or more.
inline int LossByBreaks(const Scoring& s, int breaks, int insertions) {
    constexpr int kPeriod = kShortestBreak + kBetweenBreaks;
    constexpr int kReaching = kBetweenBreaks + 2;  // Bases.
    const int price = Smaller(Smaller(s.open, s.open2), Smaller(s.match - s.mismatch, s.match + 2 * s.extend2));
    const auto up = [](int a, int b) { return (a + b - 1) / b; };
    // An insertion of n bases lies in at most 1 + (n + kShortestBreak - 2) / kPeriod breaks, a deletion in one.
    const auto others = [&](int longest) {
        return price * (breaks - 2) - up(price * (longest + kShortestBreak - 2), kPeriod);
    };
    const int apart = others(0) - up(2 * price * insertions, kReaching) +
                      insertions * GapCost(s, kReaching) / kReaching - GapCost(s, insertions);
    const int loss = Smaller(others(insertions), apart);
    return Larger(loss, 0);
}

}  // namespace
}  // namespace qel_minimap2::kernel
