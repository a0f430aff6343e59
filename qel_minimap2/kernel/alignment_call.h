#pragma once

#include <cstdint>

// Without HAVE_KALLOC, ksw2.h replaces the functions of minimap2's allocator with those of the C library.
#ifndef HAVE_KALLOC
#define HAVE_KALLOC
#endif
extern "C" {
#include <ksw2.h>
}

namespace qel_minimap2::kernel {

/// The arguments of one call to minimap2's base aligner, ksw_extd2_sse, except for the result.
///
/// A letter is a number below `letters`; the highest one means any base. Target and query positions are 0-based: i is a
/// target position and j a query position. Anti-diagonal r has the cells with i + j = r.
struct AlignmentCall {
    void* pool;  ///< The kalloc pool of the CIGAR; null for malloc.
    int query_length;
    const std::uint8_t* query;
    int target_length;
    const std::uint8_t* target;
    int letters;
    const std::int8_t* matrix;  ///< Scores, `letters` x `letters`.
    int open, extend;           ///< A gap of n bases costs min(open + n * extend, open2 + n * extend2).
    int open2, extend2;
    int band;       ///< Only cells with |i - j| <= band are computed; negative: no limit.
    int z_drop;     ///< The alignment ends if the score drops too far (see ksw_apply_zdrop); negative: no limit.
    int end_bonus;  ///< Added to the best score at the query's end before it is compared with the overall maximum.
    int flags;      ///< KSW_EZ_*.
    /// How many equal bases were cut off the start and the end of both sequences; see equal_ends.h. They can still be
    /// read before and after `target` and `query`.
    int equal_before = 0, equal_after = 0;

    // Always inlined, because the code for each width of registers contains it; see lanes.h.
    __attribute__((always_inline)) bool Has(int flag) const { return (flags & flag) != 0; }
};

/// The number of letters in calls that the kernels accept: four bases and the letter that means any base.
inline constexpr int kLetters = 5;

/// The gap costs and scores of a call.
struct Scoring {
    int open, extend;    ///< The first gap piece, which costs less for short gaps.
    int open2, extend2;  ///< The second gap piece, which costs less for long gaps.
    int match, mismatch;
    int any;  ///< Score of a pair with the letter that means any base.
};

namespace {

/// Returns the cost of a gap of `length` bases; 0 for a length of 0 or less.
inline int GapCost(const Scoring& s, int length) {
    if (length <= 0) {
        return 0;
    }
    const int first = s.open + s.extend * length;
    const int second = s.open2 + s.extend2 * length;
    return first < second ? first : second;
}

/// Returns the change in the score when a gap along the matrix's border grows from r to r + 1 bases.
inline int BorderStep(const Scoring& s, int r) {
    return GapCost(s, r) - GapCost(s, r + 1);
}

}  // namespace

}  // namespace qel_minimap2::kernel
