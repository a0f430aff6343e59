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

/// Returns true only if the score cannot drop after the row with the best end of the query, provided that no later cell
/// scores more than that end.
///
/// The score drops in a row only if the row's best score is below `max` by more than z_drop + d * extend2, where d is
/// the number of diagonals between the row's best cell and the cell of `max`. Consider the row x rows after the best
/// end. It has a cell of the last query base, to which a gap leads from the best end. So the row's best score is at
/// least mqe - open2 - x * extend2. Each cell of the row is at least x diagonals above the best end, because no query
/// position follows that end.
inline bool CannotDrop(const AlignmentCall& call, const Scoring& scoring, const ksw_extz_t& result) {
    const int best_above_end = (result.max_t - result.max_q) - (result.mqe_t - (call.query_length - 1));
    const int most = static_cast<int>(result.max) - result.mqe + scoring.open2 + scoring.extend2 * best_above_end;
    return call.z_drop < 0 || most <= call.z_drop;
}

struct Cell {
    int target, query;
};

/// Returns the cell where the path of a call ends, or positions of -1 for no path:
///
/// - If the score did not drop and the call is not an extension: the last cell.
/// - If the score did not drop and the call is an extension: the best end of the query (see base_alignment.h), provided
///   that the score there plus `end_bonus` is above the best score. The result's `reach_end` is then set.
/// - In all other cases: the cell with the best score.
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

/// Adds the differences of each row to scores of 32 bits, and derives the maximum, the best end of the query and the
/// drop from these scores. The best end of the target is not computed, because no caller reads it.
///
/// Several cells of a row may have the maximum. minimap2 scans the cells before the last one in four lanes. Its choice
/// is, in order of preference:
///
/// - the last cell;
/// - the lowest position in the lowest lane that has the maximum;
/// - the first cell that has the maximum among those (at most three) after the last complete set of four.
///
/// The position is needed only for a new maximum or a possible drop, so it is searched for only then.
class ExactMaximum {
public:
    static constexpr int kPadding = 16;

    /// `scores`: memory for one number for each target base and kPadding more.
    ExactMaximum(const AlignmentCall& call, const Scoring& scoring, std::int32_t* scores)
        : call(call), scoring(scoring), scores(scores) {
        scores[0] = BorderStep(scoring, 0);  // The other scores are set before they are used.
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

    /// Must be called for each row. Returns true only if no later cell can be a better end of the query or the best
    /// cell, and the score cannot drop. A cell scores at most a match more than the cell before it on its diagonal.
    /// Each diagonal of a later cell has a cell in this row or the row before, or starts later, after a gap at the
    /// border.
    bool NothingBetterFollows(const FinishedRow& row, const ksw_extz_t& result) {
        // The last two rows of a period are checked if the best end is before the period.
        constexpr int kPeriod = 8;
        const int place = row.r % kPeriod;
        const int best_end = result.mqe_t + call.query_length - 1;
        if (place < kPeriod - 2 || row.r - place <= best_end) {
            return false;
        }
        const int before = place == kPeriod - 1 ? most_later : INT32_MAX;
        most_later = MostLater(row);
        const int from_border = call.query_length * scoring.match - GapCost(scoring, row.r + 1);
        return Larger(Larger(before, most_later), from_border) <= result.mqe && CannotDrop(call, scoring, result);
    }

private:
    static constexpr int kUnknown = -2;

    // Returns an upper bound for the scores of later cells on the diagonals of the row's cells.
    int MostLater(const FinishedRow& row) const {
        int most = INT32_MIN;
        for (int t = row.first; t <= row.last; ++t) {
            most = Larger(most, scores[t] + scoring.match * t);
        }
        return most + scoring.match * (call.query_length - 1 - row.r);
    }

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
    int most_later = INT32_MAX;  // The result of MostLater for the row checked most recently.
};

/// For calls that need only the score of the last cell, which PathRuns::Score computes from the path.
struct NoMaximum {
    bool Add(const FinishedRow& /*row*/, ksw_extz_t& /*result*/) { return false; }
    bool NothingBetterFollows(const FinishedRow& /*row*/, const ksw_extz_t& /*result*/) { return false; }
};

}  // namespace
}  // namespace qel_minimap2::kernel
