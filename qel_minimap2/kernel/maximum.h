#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/numbers.h"

namespace qel_minimap2::kernel {
namespace {

/// A finished row: its cells from target position `first` to `last`, both included, and the lines of score differences
/// after this row.
struct FinishedRow {
    int r, first, last;
    bool is_last;
    const std::int8_t* u;
    const std::int8_t* v;
};

/// Returns true only if no cell after row r can be a better end of the query or the best cell, and the score cannot
/// drop by more than `z_drop`. `r` must be at least twice the query's last position. A path to a later cell has at most
/// as many matches as the query has bases, and at least r + 1 - 2 * (length - 1) deleted bases. The score cannot drop
/// further than one gap below the best end of the query: each row after that end has a cell in the query's last column,
/// and a gap leads to it. Stopping early saves time, because minimap2 passes about twice as many target bases as query
/// bases to an extension.
inline bool NothingBetterFollows(const AlignmentCall& call, const Scoring& scoring, int r, const ksw_extz_t& result) {
    const int length = call.query_length;
    const int rows = length + call.target_length - 1;
    const int most = length * scoring.match - GapCost(scoring, r + 1 - 2 * (length - 1));
    return most <= result.mqe && (call.z_drop < 0 || static_cast<int>(result.max) - result.mqe +
                                                             GapCost(scoring, rows - 1 - (result.mqe_t + length - 1)) <=
                                                         call.z_drop);
}

struct Cell {
    int target, query;
};

/// Returns the cell where the path of a call ends, or positions of -1 for no path. After a drop, this is the cell with
/// the best score. Otherwise, it is the last cell or, for an extension, the best end of the query if that end scores
/// well enough, else the cell with the best score. Sets the result's `reach_end` if the path ends at that end of the
/// query.
inline Cell EndOfPath(const AlignmentCall& call, ksw_extz_t& result) {
    if (!result.zdropped && !call.Has(KSW_EZ_EXTZ_ONLY)) {
        return {call.target_length - 1, call.query_length - 1};
    }
    if (!result.zdropped && result.mqe + call.end_bonus > static_cast<int>(result.max)) {
        result.reach_end = 1;
        return {result.mqe_t, call.query_length - 1};
    }
    return {result.max_t, result.max_q};
}

/// Adds up the differences of each row to scores of 32 bits, and derives the maximum, the best end of the query and the
/// drop from these scores. The best end of the target is not computed, because no caller reads it.
///
/// Several cells of a row may have the maximum. minimap2 scans the cells before the last one in four lanes. It prefers
/// the last cell, then the lowest lane that has the maximum and the lowest position in this lane, and then the first of
/// up to three remaining cells. The position is needed only for a new maximum and for a possible drop, so it is
/// searched for only in these cases.
class ExactMaximum {
public:
    static constexpr int kPadding = 16;

    /// `scores`: memory for one number for each target base and kPadding more.
    ExactMaximum(const AlignmentCall& call, const Scoring& scoring, std::int32_t* scores)
        : call(call), scoring(scoring), scores(scores) {
        scores[0] = BorderStep(scoring, 0);  // The other scores are set before they are read.
    }

    /// Adds a row. Returns true if the alignment ends here because the score dropped.
    bool Add(const FinishedRow& row, ksw_extz_t& result) {
        const auto [r, first, last, is_last, u, v] = row;
        int position = kUnknown;
        // So far, `scores` has the scores of the row before.
        const std::int32_t corner = last > 0 ? scores[last - 1] + u[last] : scores[last] + v[last];
        scores[last] = corner;
        std::int32_t best = AddDifferences(v, first, last);
        if (best <= corner) {
            best = corner;
            position = last;
        }
        if (r - first == call.query_length - 1 && scores[first] > result.mqe) {
            result.mqe = scores[first];
            result.mqe_t = first;
        }
        const auto so_far = static_cast<std::int32_t>(result.max);
        if (best > so_far || (call.z_drop >= 0 && so_far - best > call.z_drop)) {
            position = position == kUnknown ? PositionOf(best, first, last) : position;
            if (ksw_apply_zdrop(&result, 1, best, r, position, call.z_drop,
                                static_cast<std::int8_t>(scoring.extend2)) != 0) {
                return true;
            }
        }
        if (is_last && last == call.target_length - 1) {
            result.score = corner;
        }
        return false;
    }

private:
    static constexpr int kUnknown = -2;

    /// Adds v to the scores from `first` up to, not including, `last`, and returns their maximum.
    TAVIK_INLINE std::int32_t AddDifferences(const std::int8_t* v, int first, int last) {
        Register maximum = Ints::All(INT32_MIN);
        int t = first;
        for (; t + Ints::kWidth <= last; t += Ints::kWidth) {
            const Register sums = Ints::Add(Ints::Load(scores + t), Ints::Load(v + t));
            Ints::Store(scores + t, sums);
            maximum = Ints::Max(maximum, sums);
        }
        if (t < last) {
            const Register old = Ints::Load(scores + t);
            const Register sums = Ints::Add(old, Ints::Load(v + t));
            const Register inside = Ints::Lowest(last - t);
            Ints::Store(scores + t, Lanes::Select(inside, sums, old));
            maximum = Ints::Max(maximum, Lanes::Select(inside, sums, Ints::All(INT32_MIN)));
        }
        return Ints::Highest(maximum);
    }

    int PositionOf(std::int32_t value, int first, int last) const {
        const int end_of_fours = first + RoundDown(last - first, 4);
        for (int lane = 0; lane < 4; ++lane) {
            for (int t = first + lane; t < end_of_fours; t += 4) {
                if (scores[t] == value) {
                    return t;
                }
            }
        }
        int t = end_of_fours;
        while (t < last && scores[t] != value) {
            ++t;
        }
        return t;
    }

    const AlignmentCall& call;
    const Scoring& scoring;
    std::int32_t* scores;
};

/// For calls that need only the score of the last cell, which PathRuns::Score computes from the path.
struct NoMaximum {
    bool Add(const FinishedRow& /*row*/, ksw_extz_t& /*result*/) { return false; }
};

}  // namespace
}  // namespace qel_minimap2::kernel
