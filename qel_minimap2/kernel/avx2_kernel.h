#pragma once

#include "qel_minimap2/kernel/alignment_call.h"

// Where to begin reading the kernels of base alignment.
//
// The matrix of a call has a row for each target base i and a column for each query base j. Cells with i + j = r lie on
// anti-diagonal r and do not depend on each other: they are the lanes of a register. A strip is a fixed number of
// neighbouring cells of each anti-diagonal, around the matrix's main way:
//
//          j  0  1  2  3  4  5
//      i 0    a  b  c  d  .  .        Cells with the same letter are one anti-diagonal, computed at once. A strip of
//        1    b  c  d  e  f  .        three lanes is shown: from one anti-diagonal to the next it moves by half a cell,
//        2    c  d  e  f  g  h        that is, every second time by one. What lies outside (.) is not computed.
//        3    .  e  f  g  h  i
//        4    .  .  g  h  i  j
//
// Which way a call goes (avx2_kernel.cpp decides):
//  1. certified_band.h: a call that fills the gap between two seeds (KSW_EZ_APPROX_MAX alone, no band) is tried in
//     strips of 32, 64, 128 and 256 lanes. The score found is compared with the most that a path outside could reach.
//     Widths that will not do, as recent calls say, are left out, and those above two thirds of the shorter sequence.
//  2. checkpointed_sweep.h: where no strip is proven, the whole matrix, of which every 64th anti-diagonal is kept. The
//     way back computes the corner between two of them again, 4 KB at a time.
//  3. general_kernel.h: everything else. Calls with a band, extensions from a chain's ends, short gaps (below 24 bases
//     preparing a strip costs more than it saves) and unusual scorings.
//
// All three take the sequences from padded_sequences.h and the scores from alignment_call.h, and go back through
// trace_back.h. What the first two compute in a row is in strip.h, the search for the best score of the third in
// maximum.h.
//
// What the library's flags ask for: KSW_EZ_APPROX_MAX, the score of the last cell instead of the best one;
// KSW_EZ_APPROX_DROP, to stop when that score drops; KSW_EZ_EXTZ_ONLY, to take the best end of the query where it
// scores well enough; KSW_EZ_RIGHT, gaps as far to the right as can be (else to the left); KSW_EZ_REV_CIGAR, the
// operations from last to first; KSW_EZ_SCORE_ONLY, no path; KSW_EZ_GENERIC_SC, scores from the matrix for each pair of
// letters.

namespace qel_minimap2::kernel {

/// Aligns with 32 lanes. The fields of `result` and its CIGAR become what the library's ksw_extd2_sse makes of the same
/// call, but for what its callers do not read: `mte` and `mte_q` are not set, and an extension (KSW_EZ_EXTZ_ONLY) may
/// end before `score` is known. False, with the result reset, when there is no memory. Only on processors with AVX2;
/// any thread.
bool AlignWithAvx2(const AlignmentCall& call, ksw_extz_t& result);

}  // namespace qel_minimap2::kernel
