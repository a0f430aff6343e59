#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/scratch.h"
#include "qel_minimap2/kernel/strip.h"
#include "qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// The first method of base_alignment.h: where the whole matrix is asked for, a narrow band of it suffices if the band
// provably contains every optimal path.
//
// Between two seeds minimap2 fills the gap without a band limit and uses only the score of the last cell and the CIGAR.
// Reads follow the reference closely, so the best path stays near the diagonal. The recurrence is therefore run over a
// strip of N registers that moves along the middle and stays in registers. The cells that it passes over are the band.
//
// Proof that the result is minimap2's. A cell of the band is computed from cells of the band, from the border, and from
// "unreachable" neighbours in place of cells outside. Its value is therefore the score of a real path, or lower: never
// above the true value of the cell.
//   (1) The path that is traced back is real, and its score P, summed again base by base, is not above the optimum.
//   (2) A path that leaves the band crosses one of the two diagonals next to it. To reach that diagonal from the first
//       cell, and the last cell from there, it needs gaps of at least a known length; each other base scores at most a
//       match. This gives an upper bound U for all such paths.
//   (3) If P > U, every optimal path lies in the band, and so do all optimal paths into each cell of an optimal path: a
//       path that came from outside could be continued to one that leaves the band and scores as much as the optimum.
//       At each cell of the trace back, a candidate that is optimal in the full matrix therefore has its true value
//       here, and any other candidate is below the maximum in both. So the direction taken, ties included, is
//       minimap2's, cell for cell. The same holds for the decision whether a gap is extended: it compares two paths
//       into the next cell of an optimal path.
// It remains to trace back to the first cell without touching the band's edge, to sum P and to compare it with U.

/// The band that a strip passes over, and what it can prove.
struct Band {
    int base;      // The target position of lane 0 in row 0; it moves by one on every second row.
    int provable;  // A path is proven when its score is less than this below a path of matches alone. Negative: never.
};

inline Band BandOf(const AlignmentCall& call, const Scoring& s, int width) {
    const int surplus = call.target_length - call.query_length;
    const int twice_base = surplus + 3 - 2 * width;
    // Halves rounded down, so that the first and the last cell are as far from the band's edges as possible.
    Band band{twice_base >= 0 ? twice_base / 4 : -((3 - twice_base) / 4), -1};
    // The band holds diagonals i - j from 2 * base - 1 to 2 * base + 2 * width - 2. `above` is the next one. The next
    // one below, 2 - 2 * base insertions away, is as far from the first cell as `above` is from the last, or up to
    // three bases farther, since base is rounded down. So a path that leaves below never has the higher bound.
    const int above = 2 * band.base + 2 * width - 1;
    if (above <= surplus || above <= 0) {
        return band;
    }
    // A path through it deletes at least `above` target bases before and inserts `above - surplus` query bases after
    // it.
    const int bound = s.match * (call.target_length - above) - GapCost(s, above) - GapCost(s, above - surplus);
    band.provable = s.match * Smaller(call.query_length, call.target_length) - bound;
    return band;
}

/// The outcome of an attempt with one width.
struct BandOutcome {
    bool proven;
    bool traced;  // A path was found.
    int loss;     // How much less it scores than a path of matches alone.
};

/// Writes the directions of the strip's `rows` rows. Rows after the first are computed in pairs, so there may be one
/// row more, which is never read.
template <int N, Trace kTrace>
void SweepBand(const Scoring& scoring, const PaddedSequences& sequences, int base, int rows, std::uint8_t* out) {
    constexpr int kWidth = Strip<N>::kWidth;
    Strip<N> strip(scoring);
    // In the rows before this one, the first position of either sequence may be in the strip.
    const int with_border = Smaller(rows, Larger(-2 * base, 2 * (kWidth + base)) + 3);
    const std::uint8_t* target = sequences.target + base;
    const std::uint8_t* query = sequences.QueryOpposite(0) + base;
    strip.template Row<kTrace, Shift::none, true>(0, base, target, query, out);
    // For odd r: row r has the target positions of row r - 1, and row r + 1 starts one position later.
    const auto two_rows = [&]<bool kBorder>(int r) __attribute__((always_inline)) {
        strip.template Row<kTrace, Shift::up, kBorder>(r, base, target, --query, out += kWidth);
        strip.template Row<kTrace, Shift::down, kBorder>(r + 1, ++base, ++target, query, out += kWidth);
    };
    int r = 1;
    for (; r < with_border; r += 2) {
        two_rows.template operator()<true>(r);
    }
    for (; r < rows; r += 2) {
        two_rows.template operator()<false>(r);
    }
}

/// Sets the result's score and CIGAR if they are proven to be minimap2's, and leaves them as they are otherwise.
template <int N, Trace kTrace>
BandOutcome TryBand(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences,
                    const Band& band, ksw_extz_t& result) {
    constexpr int kWidth = Strip<N>::kWidth;
    PathRuns path;
    const int rows = call.query_length + call.target_length - 1;
    auto* const directions = ScratchMemory(Scratch::way_back, static_cast<std::size_t>(rows + 1) * kWidth);
    if (directions == nullptr || !path.Reserve(call)) {
        return {};
    }
    SweepBand<N, kTrace>(scoring, sequences, band.base, rows, directions);
    const auto direction = [&](int i, int j) __attribute__((always_inline))->int {
        const int row = i + j;
        const int lane = i - band.base - (row >> 1);
        return lane < 0 || lane >= kWidth
                   ? kGiveUp
                   : directions[static_cast<std::size_t>(row) * kWidth + static_cast<std::size_t>(lane)];
    };
    if (!path.Walk(call.target_length - 1, call.query_length - 1, direction)) {
        return {};
    }
    const int score = path.Score<false>(call, scoring);
    const int loss = scoring.match * Smaller(call.query_length, call.target_length) - score;
    const bool proven = loss < band.provable;
    if (proven) {
        result.score = score;
        path.Deliver(call, result);
    }
    return {proven, true, loss};
}

}  // namespace
}  // namespace qel_minimap2::kernel
