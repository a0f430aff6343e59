#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/breaks.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/scratch.h"
#include "qel_minimap2/kernel/strip.h"
#include "qel_minimap2/kernel/strip_trace.h"
#include "qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// The first method of base_alignment.h: instead of the complete matrix, a narrow band is computed. This is enough if
// every optimal path provably lies in the band.
//
// minimap2 usually fills the gap between two anchors with a band that excludes no cell. It needs only the score of the
// last cell and the CIGAR. Most bases of a read match the reference, so the best path stays near the main diagonal. The
// recurrence is therefore computed for a strip of N registers that moves along this diagonal. The cells that the strip
// covers are the band.
//
// Proof that the result is minimap2's. A cell of the band is computed from cells of the band, from the border, and from
// "unreachable" values that replace cells outside the band. The computed value is therefore never above the cell's true
// value.
//   (1) The path that is traced back is a path of the matrix, so its score P, summed along the path, is not above the
//       optimum.
//   (2) A path that leaves the band reaches one of the two diagonals next to the band. To reach that diagonal from the
//       first cell, and the last cell from that diagonal, the path needs gaps of at least a known length. Each of its
//       other bases scores at most a match. This gives an upper bound U for the scores of all paths that leave the
//       band. If U is too high, breaks.h lowers it for paths that stay within a range of diagonals: stretches of the
//       query that the target does not have there cost each such path further gaps or mismatches. For paths that leave
//       this range, U is the bound for a band with the diagonals of the range.
//   (3) If P > U, every optimal path lies in the band. So do all optimal paths into each cell of an optimal path:
//       otherwise, one of them could be continued to an optimal path that leaves the band. At each cell of the
//       traceback, a candidate that is optimal in the complete matrix therefore has its true value in the band, and
//       any other candidate is below the maximum in the matrix and in the band. So the direction chosen at each cell,
//       ties included, is minimap2's. The same holds for the length of a gap: each cell where a gap of an optimal path
//       may start is on an optimal path, so it has its true value. The value of any other cell is too low for the gap
//       to start there.
// The code therefore traces back to the first cell, gives up if the path leaves the band, sums P and compares it with
// U.

/// The band of a strip, and what the band can prove.
struct Band {
    int base;        // The target position of lane 0 in row 0. Lane 0 moves on by one position on every second row.
    int provable;    // A path whose loss (see BandOutcome) is below this is proven optimal even if no breaks are
                     // counted. If this is negative, no path is proven optimal.
    int insertions;  // A path that leaves the band inserts at least this many query bases.
};

inline Band BandOf(const AlignmentCall& call, const Scoring& s, int width) {
    const int surplus = call.target_length - call.query_length;
    const int four_bases = surplus + 3 - 2 * width;
    // Up to rounding, the first cell is as far from the band's lower edge as the last cell is from the upper edge. The
    // quotient is rounded down, even if it is negative.
    Band band{four_bases >= 0 ? four_bases / 4 : -((3 - four_bases) / 4), -1, 0};
    // The band has the diagonals i - j from 2 * base - 1 to 2 * base + 2 * width - 2. `above` is the diagonal above the
    // band. The diagonal below the band is 2 - 2 * base insertions from the first cell. `above` is that many insertions
    // from the last cell, or up to three fewer, because base is rounded down. So the bound for paths that leave the
    // band through its lower edge is never the higher one.
    const int above = 2 * band.base + 2 * width - 1;
    if (above <= surplus || above <= 0) {
        return band;
    }
    // A path to `above` deletes at least `above` target bases. From there to the last cell, it inserts at least
    // `above - surplus` query bases.
    const int bound = s.match * (call.target_length - above) - GapCost(s, above) - GapCost(s, above - surplus);
    band.provable = s.match * Smaller(call.query_length, call.target_length) - bound;
    band.insertions = above - surplus;
    return band;
}

/// Bounds the scores of those paths of one call that leave a band.
struct BandProof {
    const AlignmentCall& call;
    const Scoring& scoring;
    const PaddedSequences& sequences;

    /// Returns true only if each path that leaves the band provably loses more than `loss`, compared with a path of
    /// matches alone.
    bool Proves(const Band& band, int loss) {
        if (loss < band.provable || band.provable < 0) {
            return band.provable >= 0;
        }
        const Band range = BandOf(call, scoring, kBreakRange / 2);
        if (loss >= range.provable) {
            return false;
        }
        breaks = breaks == kUncounted ? CountBreaks(sequences, 2 * range.base - 1) : breaks;
        return loss < band.provable + LossByBreaks(scoring, breaks, band.insertions);
    }

    static constexpr int kUncounted = -1;
    int breaks = kUncounted;
};

/// The outcome of an attempt with one width of strip.
struct BandOutcome {
    bool proven;  // The path is optimal.
    bool traced;  // A path was found.
    int loss;     // How much less the path scores than a path of matches alone.
};

/// Writes what a strip stores for `rows` rows. Rows after the first are computed in pairs, so one more row may be
/// written, which is never read.
template <int N>
void SweepBand(const StripConstants& k, const PaddedSequences& sequences, int base, int rows, std::uint8_t* out) {
    constexpr int kWidth = Strip<N>::kWidth;
    Strip<N> strip(k);
    // Only rows before this one may include the first position of a sequence.
    const int with_border = Smaller(rows, Larger(-2 * base, 2 * (kWidth + base)) + 3);
    const std::uint8_t* target = sequences.target + base;
    const std::uint8_t* query = sequences.QueryOpposite(0) + base;
    strip.template Row<Shift::none, true>(0, base, target, query, out);
    // For odd r: row r has the target positions of row r - 1, and row r + 1 starts one position later.
    const auto two_rows = [&]<bool kBorder>(int r) __attribute__((always_inline)) {
        strip.template Row<Shift::up, kBorder>(r, base, target, --query, out += Strip<N>::kRowSize);
        strip.template Row<Shift::down, kBorder>(r + 1, ++base, ++target, query, out += Strip<N>::kRowSize);
    };
    int r = 1;
    for (; r < with_border; r += 2) {
        two_rows.template operator()<true>(r);
    }
    for (; r < rows; r += 2) {
        two_rows.template operator()<false>(r);
    }
}

/// Sets the result's score and CIGAR if they are proven to be minimap2's, and otherwise leaves them unchanged.
template <int N>
BandOutcome TryBand(BandProof& proof, const Band& band, ksw_extz_t& result) {
    const auto& call = proof.call;
    const auto& scoring = proof.scoring;
    PathRuns path(call);
    const int rows = call.query_length + call.target_length - 1;
    auto* const cells = ScratchMemory(Scratch::way_back, static_cast<std::size_t>(rows + 1) * Strip<N>::kRowSize);
    if (cells == nullptr || !path.Reserve()) {
        return {};
    }
    const StripConstants k(scoring, Trace::left);
    SweepBand<N>(k, proof.sequences, band.base, rows, cells);
    const auto cell_at = [&](int i, int j) __attribute__((always_inline)) {
        const int row = i + j;
        const int lane = i - band.base - (row >> 1);
        const auto* const best = cells + static_cast<std::ptrdiff_t>(row) * Strip<N>::kRowSize + lane;
        return lane < 0 || lane >= Strip<N>::kWidth ? kOutside : StripCell{*best, best[Strip<N>::kWidth]};
    };
    const int score = TraceBack(path, call.target_length - 1, call.query_length - 1, k, cell_at);
    if (score == kNoScore) {
        return {};
    }
    const int loss = scoring.match * Smaller(call.query_length, call.target_length) - score;
    const bool proven = proof.Proves(band, loss);
    if (proven) {
        result.score = score;
        path.Deliver(result);
    }
    return {proven, true, loss};
}

}  // namespace
}  // namespace qel_minimap2::kernel
