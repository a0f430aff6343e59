#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/maximum.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/scratch.h"
#include "qel_minimap2/kernel/strip.h"
#include "qel_minimap2/kernel/strip_trace.h"
#include "qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// The third method of base_alignment.h: an extension from a chain's end whose query fits into a strip. The strip moves
// by one target position on every row, so each lane always has the same query position, and the highest lane has the
// first one. The strip keeps the difference lines and the scores of a row's cells from row to row.
//
// A lane has no cell in rows where its target position lies outside the target. If its query position lies after the
// query's end, it has no cell in any row. Lanes without a cell are left out of the row's maximum. Values move only to
// lower lanes, so those from lanes after the query's end reach no cell.

/// Aligns an extension without a band limit and without ambiguous bases. The query must fit into the strip. The target
/// must have at most 1000 bases, so that scores fit into 16 bits.
template <int N>
class ShortExtension {  // NOLINT(clang-analyzer-optin.performance.Padding)
public:
    ShortExtension(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences)
        : call(call),
          scoring(scoring),
          sequences(sequences),
          k(scoring, call.Has(KSW_EZ_RIGHT) ? Trace::right : Trace::left) {
        for (int n = 0; n < N; ++n) {
            cells[n] = {k.opened, k.opened, k.opened, k.opened, k.unreachable_u, k.unreachable_v};
        }
        // The scores start with those of the border.
        for (int lane = 0; lane < kWidth; ++lane) {
            row_scores[lane / Words::kWidth][lane % Words::kWidth] =
                static_cast<std::int16_t>(-GapCost(scoring, kWidth - lane));
        }
        for (int n = 0; n < 2 * N; ++n) {
            scores[n] = Lanes::Load(row_scores[n]);
        }
    }

    /// Returns false, without changes, if there is no memory.
    bool Run(ksw_extz_t& result) {
        PathRuns path(call);
        const auto rows = static_cast<std::size_t>(call.query_length + call.target_length - 1);
        stored = ScratchMemory(Scratch::way_back, rows * 2 * kWidth);
        if (stored == nullptr || !path.Reserve()) {
            return false;
        }
        Sweep(static_cast<int>(rows), result);
        if (const auto end = EndOfPath(call, result); end.target >= 0 && end.query >= 0) {
            TraceBack(
                path, end.target, end.query, k, [this](int i, int j) __attribute__((always_inline)) {
                    const auto* const best =
                        stored + static_cast<std::ptrdiff_t>(i + j) * 2 * kWidth + (kWidth - 1 - j);
                    return StripCell{*best, best[kWidth]};
                });
            path.Deliver(result);
        }
        return true;
    }

private:
    static constexpr int kWidth = N * Lanes::kWidth;
    using RowScores = Register[static_cast<std::size_t>(2 * N)];

    void Sweep(int rows, ksw_extz_t& result) {
        for (int r = 0; r < rows; ++r) {
            ComputeRow(r);
            if (AddMaximum(r, result) || NothingBetterFollows(r, result)) {
                return;
            }
        }
    }

    // Returns true only if no cell after row r can be a better end of the query or the best cell, and the score cannot
    // drop. A path to a later cell has at most as many matches as the query has bases, and at least
    // r + 1 - 2 * (query_length - 1) deleted bases. For short queries, this bound is enough.
    bool NothingBetterFollows(int r, const ksw_extz_t& result) const {
        const int deleted = r + 1 - 2 * (call.query_length - 1);
        return deleted > 0 && call.query_length * scoring.match - GapCost(scoring, deleted) <= result.mqe &&
               CannotDrop(call, scoring, result);
    }

    TAVIK_INLINE void ComputeRow(int r) {
        const auto border_u = k.BorderOfU(r), border_v = k.BorderOfV(r);
        const int base = r - kWidth + 1;
        const std::uint8_t* const target = sequences.target + base;
        const std::uint8_t* const query = sequences.reversed_query + call.query_length - kWidth;
        TAVIK_UNROLL
        for (int n = 0; n < N; ++n) {
            const int first = n * Lanes::kWidth;
            auto& c = cells[n];
            c.y = Lanes::Down(c.y, n + 1 < N ? cells[n + 1].y : k.opened);
            c.y2 = Lanes::Down(c.y2, n + 1 < N ? cells[n + 1].y2 : k.opened);
            c.u = Lanes::Down(c.u, n + 1 < N ? cells[n + 1].u : border_u);
            if (r < call.query_length) {
                EnterGap(AllLanesBut(-base - first), border_v, c.x, c.x2, c.v);
            }
            auto* const to = stored + static_cast<std::ptrdiff_t>(r) * 2 * kWidth + first;
            Lanes::Store(to, StripStep<Shift::down>(k, k.Substitution(target + first, query + first), c));
            Lanes::Store(to + kWidth, c.u);
        }
    }

    // Adds a row in the same way as ExactMaximum::Add.
    TAVIK_INLINE bool AddMaximum(int r, ksw_extz_t& result) {
        const int begun = Smaller(r + 1, call.query_length);
        const int ended = Larger(0, r + 1 - call.target_length);
        RowScores shown;  // The scores of the row's cells; INT16_MIN in lanes without a cell.
        TAVIK_UNROLL
        for (int n = 0; n < 2 * N; ++n) {
            const int lanes_left = kWidth - n / 2 * Lanes::kWidth;
            const Register lane = Lanes::WordsOf(Lanes::Load(kLaneNumbers), n);
            const Register u = Words::Add(Words::ShiftRight<3>(Lanes::WordsOf(cells[n / 2].u, n)), Words::All(-k.gap));
            const Register before = Words::Greater(Words::All(lanes_left - begun), lane);
            scores[n] = Words::Add(scores[n], Lanes::AndNot(before, u));
            const Register has_cell = Lanes::AndNot(before, Words::Greater(Words::All(lanes_left - ended), lane));
            shown[n] = Words::Min(scores[n], Lanes::Xor(has_cell, Words::All(INT16_MIN)));
            Lanes::Store(row_scores[n], shown[n]);
        }
        const int best = Maximum(shown);
        const int first = r - call.query_length + 1;
        const int end_lane = kWidth - call.query_length;
        if (const int end_score = row_scores[end_lane / Words::kWidth][end_lane % Words::kWidth];
            first >= 0 && end_score > result.mqe) {
            result.mqe = end_score;
            result.mqe_t = first;
        }
        const auto so_far = static_cast<std::int32_t>(result.max);
        if (best <= so_far && (call.z_drop < 0 || so_far - best <= call.z_drop)) {
            return false;
        }
        const int position = PositionOf(best, Larger(first, 0), Smaller(r, call.target_length - 1), r);
        return ksw_apply_zdrop(&result, 1, best, r, position, call.z_drop, static_cast<std::int8_t>(scoring.extend2)) !=
               0;
    }

    static TAVIK_INLINE int Maximum(const RowScores& shown) {
        Register most = Words::Max(shown[0], shown[1]);
        TAVIK_UNROLL
        for (int n = 2; n < 2 * N; ++n) {
            most = Words::Max(most, shown[n]);
        }
        return Words::Highest(most);
    }

    // Returns the target position from `first` to `last` that minimap2 chooses among those with this score; see
    // ExactMaximum.
    int PositionOf(int score, int first, int last, int r) const {
        const auto equal = [&](int n) { return Words::Equal(Lanes::Load(row_scores[n]), Words::All(score)); };
        std::uint64_t places = 0;
        for (int n = 0; n < N; ++n) {
            places |= std::uint64_t{Words::MaskOf(equal(2 * n), equal(2 * n + 1))} << n * Lanes::kWidth;
        }
        places >>= first - (r - kWidth + 1);
        const int count = last - first;
        if ((places >> count & 1U) != 0) {
            return last;
        }
        const auto in_fours = places & ((std::uint64_t{1} << RoundDown(count, 4)) - 1);
        for (unsigned lane = 0; lane < 4; ++lane) {
            if (const auto in_lane = in_fours & 0x1111111111111111U << lane; in_lane != 0) {
                return first + __builtin_ctzll(in_lane);
            }
        }
        return first + __builtin_ctzll(places);
    }

    const AlignmentCall& call;
    const Scoring& scoring;
    const PaddedSequences& sequences;
    const StripConstants k;
    StripLanes cells[static_cast<std::size_t>(N)];
    RowScores scores;
    alignas(32) std::int16_t row_scores[static_cast<std::size_t>(2 * N)][Words::kWidth];
    std::uint8_t* stored = nullptr;
};

}  // namespace
}  // namespace qel_minimap2::kernel
