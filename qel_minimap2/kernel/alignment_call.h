#pragma once

#include <cstdint>

// The library's header declares its allocator's interface only when it is told that there is one.
#ifndef HAVE_KALLOC
#define HAVE_KALLOC
#endif
extern "C" {
#include <ksw2.h>
}

namespace qel_minimap2::kernel {

/// One call of the library's base aligner, ksw_extd2_sse: its arguments, but for the result.
///
/// A base is a number below `letters`, the last of which stands for any base. Target and query positions are
/// 0-based; i counts in the target, j in the query, and an anti-diagonal r holds the cells with i + j = r.
struct AlignmentCall {
    void* pool;  ///< What the CIGAR is allocated from.
    int query_length;
    const std::uint8_t* query;
    int target_length;
    const std::uint8_t* target;
    int letters;
    const std::int8_t* matrix;  ///< Scores, `letters` x `letters`.
    int open, extend;           ///< A gap of n bases costs min(open + n * extend, open2 + n * extend2).
    int open2, extend2;
    int band;  ///< Cells with |i - j| beyond it are not computed; below 0 there is no band.
    int z_drop;
    int end_bonus;
    int flags;  ///< KSW_EZ_*.

    bool Has(int flag) const { return (flags & flag) != 0; }
};

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
