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

}  // namespace qel_minimap2::kernel
