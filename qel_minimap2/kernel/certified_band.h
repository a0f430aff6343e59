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

// The second idea: where the whole matrix is asked for, a narrow band of it is enough, if one can prove it.
//
// Between two seeds the library fills the gap without a band and uses of the result only the score of the last cell and
// the CIGAR. Reads follow the reference closely, so the best path stays near the diagonal. The recurrence is therefore
// run over a strip of 32 * N lanes that moves along the middle and stays in registers.
//
// Proof that the result is the library's. A cell of the strip is computed from cells of the strip, the border, and
// "unreachable" neighbours in the place of cells outside. Every value in it is then the score of a real path, or worse
// than one: not above the true value of the cell. So
//   (1) the path that is traced back is real, and its score P, added up again base by base, is not above the optimum.
//   (2) A path that leaves the strip crosses one of the two diagonals next to it. To get there from the first cell and
//       back to the last one it needs gaps of at least a known length on both sides; the other bases score at most a
//       match each. That gives an upper bound U for all such paths.
//   (3) If P > U, every optimal path lies in the strip, and so do all optimal ways into each cell of an optimal path:
//       one that came from outside would be continued to a path that leaves the strip and scores as much as the
//       optimum. At each cell of the path back, a candidate that is optimal in the full matrix therefore has its true
//       value here, and any other candidate is below the maximum in both. The direction taken, ties included, is the
//       one that the library takes, cell for cell. The same holds for the question whether a gap goes on: it compares
//       two ways into the next cell of an optimal path.
// What is left is to trace back to the first cell without touching the strip's edge, to add up P and to compare.

/// Where a strip lies in the matrix and what it can prove.
struct BandWindow {
    int base;      // The target position of lane 0 in row 0; every second row it is one further.
    int provable;  // A path is proven when its score is less than this below that of all matches; below 0 never.
};

inline BandWindow WindowOf(const AlignmentCall& call, const Scoring& s, int width) {
    const int surplus = call.target_length - call.query_length;
    const int twice_base = surplus + 3 - 2 * width;
    // Halves rounded down, so that both ends of the matrix's main way are as far from the edges as can be.
    BandWindow window{twice_base >= 0 ? twice_base / 4 : -((3 - twice_base) / 4), -1};
    // Diagonals i - j from 2 * base - 1 to 2 * base + 2 * width - 2 are in the strip; this is the first one above. The
    // first one below, 2 - 2 * base insertions away, is as far from the other end as this one or up to three bases
    // further, since base is rounded down. So a path that leaves there never has the higher bound.
    const int above = 2 * window.base + 2 * width - 1;
    if (above <= surplus || above <= 0) {
        return window;
    }
    // At least `above` target bases are deleted before and `above - surplus` query bases inserted after it.
    const int bound = s.match * (call.target_length - above) - GapCost(s, above) - GapCost(s, above - surplus);
    window.provable = s.match * Smaller(call.query_length, call.target_length) - bound;
    return window;
}

/// What a try with one width found.
struct BandOutcome {
    bool proven;
    bool traced;  // A path was found.
    int loss;     // By how much its score is below that of all matches.
};

/// Writes the directions of the strip's `rows` rows. Those after the first are computed in twos, so the last one may be
/// one too many, which nobody looks at.
template <int N, Trace kTrace>
void SweepBand(const Scoring& scoring, const PaddedSequences& sequences, int base, int rows, std::uint8_t* out) {
    constexpr int kWidth = Strip<N>::kWidth;
    Strip<N> strip(scoring);
    // The rows in which the first position of either sequence may still be in the strip.
    const int with_border = Smaller(rows, Larger(-2 * base, 2 * (kWidth + base)) + 3);
    const std::uint8_t* target = sequences.target + base;
    const std::uint8_t* query = sequences.QueryOpposite(0) + base;
    strip.template Row<kTrace, Shift::none, true>(0, base, target, query, out);
    // For odd r: row r lies at the same target positions as row r - 1, row r + 1 one further.
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

/// Sets the result's score and CIGAR if they are proven to be the library's; leaves it alone otherwise.
template <int N, Trace kTrace>
BandOutcome TryBand(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences,
                    const BandWindow& window, ksw_extz_t& result) {
    constexpr int kWidth = Strip<N>::kWidth;
    PathRuns path;
    const int rows = call.query_length + call.target_length - 1;
    auto* const directions = ScratchMemory(Scratch::way_back, static_cast<std::size_t>(rows + 1) * kWidth);
    if (directions == nullptr || !path.Reserve(call)) {
        return {};
    }
    SweepBand<N, kTrace>(scoring, sequences, window.base, rows, directions);
    const auto direction = [&](int i, int j) __attribute__((always_inline))->int {
        const int row = i + j;
        const int lane = i - window.base - (row >> 1);
        return lane < 0 || lane >= kWidth
                   ? kGiveUp
                   : directions[static_cast<std::size_t>(row) * kWidth + static_cast<std::size_t>(lane)];
    };
    if (!path.Walk(call.target_length - 1, call.query_length - 1, direction)) {
        return {};
    }
    const int score = path.Score(call, scoring);
    const int loss = scoring.match * Smaller(call.query_length, call.target_length) - score;
    const bool proven = loss < window.provable;
    if (proven) {
        result.score = score + scoring.corner + scoring.open + scoring.extend;
        path.Deliver(call, result);
    }
    return {proven, true, loss};
}

}  // namespace
}  // namespace qel_minimap2::kernel
