#pragma once

#include "qel_minimap2/kernel/alignment_call.h"

// Start here to read the kernels of base alignment.
//
// The matrix of a call has one cell for each pair of a target base i and a query base j. The cells with i + j = r are
// anti-diagonal r, which the code calls row r. Cells of one row do not depend on each other, so they are computed in
// the lanes of registers. A strip is a fixed number of neighbouring cells of each row, usually around the matrix's main
// diagonal:
//
//          j  0  1  2  3  4  5
//      i 0    a  b  c  d  .  .        Cells with the same letter are one anti-diagonal, computed at once. A strip of
//        1    b  c  d  e  f  .        three lanes is shown. It moves by one cell on every second anti-diagonal. The
//        2    c  d  e  f  g  h        cells outside (.) are not computed.
//        3    .  e  f  g  h  i
//        4    .  .  g  h  i  j
//
// base_alignment.cpp first cuts off the equal bases at both ends of a gap between two anchors (equal_ends.h). If this
// leaves no bases of one sequence, the rest of the other one is a single gap. For any other call, base_alignment.cpp
// chooses one of four methods:
//  1. certified_band.h: a call that fills the gap between two anchors (KSW_EZ_APPROX_MAX, no band limit) is tried in
//     strips of 32, 64, 96, 128, 192 and 256 lanes. The score found is compared with an upper bound for all paths
//     that leave the band. If necessary, breaks.h lowers this bound. Widths that are probably too narrow, according
//     to recent calls, are skipped. Strips wider than two thirds of the shorter sequence are not tried.
//  2. checkpointed_sweep.h: if no path found is proven optimal, the complete matrix is computed, and every 64th row is
//     kept. The traceback recomputes the cells that it needs between two kept rows, 64 by 64 at a time.
//  3. short_extension.h: an extension from a chain's end (KSW_EZ_EXTZ_ONLY, no band limit) of at most 64 query bases
//     and 1000 target bases is computed in a strip with a lane for each query base.
//  4. general_kernel.h: all other calls, such as those with a band limit or ambiguous bases, longer extensions, and
//     gaps with fewer than 24 bases left in either sequence.
//
// All four methods get the sequences from padded_sequences.h and the scores from alignment_call.h, and collect the path
// in the CIGAR of trace_back.h. strip.h computes cells for the first three methods, and strip_trace.h traces their
// paths back. maximum.h finds the best score for the fourth method, and the end of the path for the third and fourth.
//
// The flags of a call mean:
//  - KSW_EZ_APPROX_MAX: the score of the last cell is wanted instead of the best score.
//  - KSW_EZ_EXTZ_ONLY: the path ends at the best end of the query if the score there is high enough, and otherwise at
//    the cell with the best score. The best end of the query is the cell with the highest score among those of the last
//    query base.
//  - KSW_EZ_RIGHT: gaps are placed as far right as possible. Without it, they are placed as far left as possible.
//  - KSW_EZ_REV_CIGAR: the operations are ordered from last to first.
//
// Calls with other flags, unusual scores or other alphabets are left to minimap2. They do not occur while a read is
// mapped with the preset map-ont. The rare calls with KSW_EZ_APPROX_MAX and a band limit are also left to minimap2.

namespace qel_minimap2::kernel {

/// Aligns with registers of kBits bits. Sets `result` and its CIGAR to what minimap2's ksw_extd2_sse computes for the
/// same call. Fields that no caller in minimap2 reads may differ: `mte` and `mte_q` are not computed, and `score` may
/// be missing after an extension (KSW_EZ_EXTZ_ONLY). Returns false for a call that is left to minimap2, and if there is
/// no memory. Any thread.
template <int kBits>
bool AlignBases(const AlignmentCall& call, ksw_extz_t& result);
template <>
bool AlignBases<128>(const AlignmentCall& call, ksw_extz_t& result);
template <>
bool AlignBases<256>(const AlignmentCall& call, ksw_extz_t& result);

}  // namespace qel_minimap2::kernel
