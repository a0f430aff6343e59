#pragma once

#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/strip.h"
#include "qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// The traceback through the cells of a strip. For each cell, the strip stores the best candidate and u. The candidate's
// tag shows the direction from which the path comes. The length of a gap follows from the scores of the cells along the
// gap, so the strip does not record which gaps are extended.

/// What is stored for a cell.
struct StripCell {
    int best;  ///< Negative: the cell is outside the strip.
    int u;

    /// Returns the direction of the best candidate: kFromDiagonal and so on.
    TAVIK_INLINE int From(Tags tags) const { return ((best & (kScale - 1)) - tags.diagonal) * tags.step; }
    /// Returns how much more the cell scores than the cell before it on its diagonal.
    int AboveDiagonal(int gap) const { return best / kScale - 2 * gap; }
    /// Returns how much more the cell scores than the cell one target position before it, at the same query position.
    int AboveDeletion(int gap) const { return u / kScale - gap; }
};
inline constexpr StripCell kOutside{-1, 0};

/// Returns the length of the gap that ends at cell (i, j), where the path comes from direction `from`. Returns 0 if the
/// gap can start neither at a cell of the strip nor on the matrix's border. `cell_at(i, j)` returns a StripCell.
///
/// A gap can start at any cell, or place on the border, whose score is that of (i, j) plus the cost of the gap. Of
/// several starts, minimap2 chooses the nearest if gaps are placed left, and the most distant if they are placed right.
template <typename CellAt>
int GapLength(int i, int j, int from, const StripConstants& k, const CellAt& cell_at) {
    const bool in_second_piece = from >= kFromDeletion2;
    const int extend = in_second_piece ? k.scoring.extend2 : k.scoring.extend;
    const int bases = (IsDeletion(from) ? i : j) + 1;
    // The score of the cell that is `length` bases before (i, j), minus the score of (i, j) and minus the gap cost.
    int surplus = in_second_piece ? -k.scoring.open2 : -k.scoring.open;
    int found = 0;
    StripCell cell = cell_at(i, j);
    for (int length = 1; length <= bases; ++length) {
        StripCell before = kOutside;
        if (length < bases) {
            before = IsDeletion(from) ? cell_at(i - length, j) : cell_at(i, j - length);
            if (before.best < 0) {
                break;
            }
        }
        if (IsDeletion(from)) {
            surplus -= cell.AboveDeletion(k.gap);
        } else {
            surplus -= cell.AboveDiagonal(k.gap);
            surplus += length < bases ? before.AboveDeletion(k.gap) : BorderStep(k.scoring, i);
        }
        surplus -= extend;
        if (surplus == 0) {
            found = length;
            if (k.trace == Trace::left) {
                break;
            }
        }
        cell = before;
    }
    return found;
}

/// Returned by TraceBack if the path leaves the strip.
inline constexpr int kNoScore = INT32_MIN;

/// Adds the best path from the start of the matrix to cell (i, j) and returns its score, or kNoScore if the path leaves
/// the strip. `cell_at(i, j)` returns a StripCell. If gaps are placed left, the row i + j never increases from one call
/// of `cell_at` to the next.
template <typename CellAt>
int TraceBack(PathRuns& path, int i, int j, const StripConstants& k, const CellAt& cell_at) {
    const Tags tags = k.tags;
    int score = 0;
    while (i >= 0 && j >= 0) {
        const int last = i;
        StripCell cell = kOutside;
        while (true) {
            // If gaps are placed left, equal bases are matched; see equal_ends.h. Their cells need not be read.
            const int equal = k.trace == Trace::left ? path.CountEqualBefore(i, j) : 0;
            score += equal * k.scoring.match;
            i -= equal;
            j -= equal;
            if (i < 0 || j < 0) {
                break;
            }
            cell = cell_at(i, j);
            if (cell.best < 0 || cell.From(tags) != kFromDiagonal) {
                break;
            }
            score += cell.AboveDiagonal(k.gap);
            --i;
            --j;
        }
        path.Add(KSW_CIGAR_MATCH, last - i);
        if (i < 0 || j < 0) {
            break;
        }
        const int from = cell.From(tags);
        const int length = cell.best < 0 ? 0 : GapLength(i, j, from, k, cell_at);
        if (length == 0) {
            return kNoScore;
        }
        score -= GapCost(k.scoring, length);
        path.Add(IsDeletion(from) ? KSW_CIGAR_DEL : KSW_CIGAR_INS, length);
        (IsDeletion(from) ? i : j) -= length;
    }
    path.AddBorder(i, j);
    return score - GapCost(k.scoring, i + 1) - GapCost(k.scoring, j + 1);
}

}  // namespace
}  // namespace qel_minimap2::kernel
