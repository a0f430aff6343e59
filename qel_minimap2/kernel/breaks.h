#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

// A break is a stretch of the query that differs from the target on every diagonal of a range. In each break, a path
// within this range has a mismatch, a deletion between two bases of the break, or an insertion of some of these bases.

inline constexpr int kBreakRange = 192;  // Diagonals.
inline constexpr int kShortestBreak = 4;
inline constexpr int kBetweenBreaks = 2;  // At least this many bases lie between two breaks.

/// Returns four bases in each lane, 2 bits each. Those of lane 0, from the highest bits to the lowest, are the letters
/// at `last`, `last - step`, `last - 2 * step` and `last - 3 * step`; those of lane n lie n letters after them.
TAVIK_INLINE Register FourBases(const std::uint8_t* last, std::ptrdiff_t step) {
    Register bases = Lanes::Load(last);
    for (int n = 1; n < kShortestBreak; ++n) {
        const Register twice = Lanes::Add(bases, bases);
        bases = Lanes::Add(Lanes::Add(twice, twice), Lanes::Load(last - n * step));
    }
    return bases;
}

/// Counts the breaks for the kBreakRange diagonals i - j from `first` on. The sequences must have no ambiguous bases.
/// The band of these diagonals must be able to prove a path (see Band). The diagonals then reach at most kBeside places
/// beyond the target. Returns 0 if there is no memory.
inline int CountBreaks(const PaddedSequences& sequences, int first) {
    constexpr int kRegisters = kBreakRange / Lanes::kWidth;
    constexpr int kBeside = 256;  // Places of padding on each side. Their letters may hide a break, but add none.
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
        Register equal[kRegisters];  // Diagonals on which all bases of the stretch so far are equal.
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

/// Returns a lower bound for what a path loses beyond the costs of two gaps: one gap with `insertions` query bases, and
/// one with the deletions that these force. The path has an edit in each of `breaks` breaks and inserts `insertions`
/// bases or more.
///
/// Each further gap or mismatch costs `price` or more, but one insertion may lie in several breaks. Because the cost of
/// a gap is concave, only the longest insertion needs to lie in more than two breaks: any other insertion can be
/// shortened until it just reaches from one break to the next, and the bases taken from it can be added to the longest
/// insertion without a loss. For the same reason, the loss is lowest in one of two extreme cases: all inserted bases
/// are in one gap, or all are in gaps that just reach from one break to the next. Each inserted base above `insertions`
/// needs another deleted base, and such a pair costs `price` or more.
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
