#pragma once

#include "third_party_alignment/qel_minimap2/kernel/alignment_call.h"

namespace qel_minimap2::kernel {

/// The scores of a call as the kernels use them.
struct Scoring {
    int open, extend;    ///< The gap piece with the lower cost of a gap of one base.
    int open2, extend2;  ///< The other one.
    int corner;  ///< Added to the score of the first cell: minus the cost of one base in the caller's first piece.
    int match, mismatch;
    int any;        ///< Against a letter that stands for any base.
    int switch_at;  ///< Gaps of more than this many bases plus one cost what the other piece says.
    int switch_by;  ///< What the border's score changes by on anti-diagonal `switch_at`.
};

/// Derives the scores. False for a call that the library answers without aligning: nothing to align, or a mismatch
/// that costs more than two gaps.
bool MakeScoring(const AlignmentCall& call, Scoring& scoring);

/// What the score along the matrix's border, where all is gap, changes by from anti-diagonal r - 1 to r.
inline int BorderStep(const Scoring& s, int r) {
    if (r == 0) {
        return -s.open - s.extend;
    }
    if (r == s.switch_at) {
        return s.switch_by;
    }
    return r < s.switch_at ? -s.extend : -s.extend2;
}

/// What a gap of `length` bases costs; 0 for none.
inline int GapCost(const Scoring& s, int length) {
    if (length <= 0) {
        return 0;
    }
    const int first = s.open + s.extend * length;
    const int second = s.open2 + s.extend2 * length;
    return first < second ? first : second;
}

}  // namespace qel_minimap2::kernel
