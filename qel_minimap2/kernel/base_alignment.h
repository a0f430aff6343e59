#pragma once

#include "qel_minimap2/kernel/alignment_call.h"

// Start here to read the kernels of base alignment.
//
// The matrix of a call has a line for each target base i and a column for each query base j. Cells with i + j = r lie
// on anti-diagonal r, which the code calls row r. They do not depend on each other, so they are the lanes of a
// register. A strip is a fixed number of neighbouring cells of each anti-diagonal, around the matrix's main diagonal:
//
//          j  0  1  2  3  4  5
//      i 0    a  b  c  d  .  .        Cells with the same letter are one anti-diagonal, computed at once. A strip of
//        1    b  c  d  e  f  .        three lanes is shown. It moves by one cell on every second anti-diagonal. The
//        2    c  d  e  f  g  h        cells outside (.) are not computed.
//        3    .  e  f  g  h  i
//        4    .  .  g  h  i  j
//
// There are four methods; base_alignment.cpp chooses one for each call:
//  1. certified_band.h: a call that fills the gap between two seeds (KSW_EZ_APPROX_MAX alone, no band limit) is
//     tried in strips of 32, 64, 96, 128, 192 and 256 lanes. The score found is compared with an upper bound for all
//     paths outside the strip. Widths that recent calls show to be too narrow are skipped, and so are those above two
//     thirds of the shorter sequence.
//  2. checkpointed_sweep.h: where no strip is proven, the whole matrix, of which every 64th anti-diagonal is kept. The
//     trace back computes the corner between two kept ones again, 4 KB at a time.
//  3. short_extension.h: an extension from a chain's end (KSW_EZ_EXTZ_ONLY, no band limit) of at most 64 query bases,
//     in a strip with a lane for each of them.
//  4. general_kernel.h: everything else: calls with a band limit, longer extensions and short gaps (below 24 bases
//     preparing a strip costs more than it saves).
//
// All four read the sequences through padded_sequences.h and the scores through alignment_call.h, and trace paths back
// with trace_back.h. strip.h computes cells for the first three; maximum.h finds the best score for the fourth.
//
// minimap2's flags: KSW_EZ_APPROX_MAX, the score of the last cell instead of the best one; KSW_EZ_EXTZ_ONLY, take the
// best end of the query if it scores well enough; KSW_EZ_RIGHT, place gaps as far right as possible (otherwise left);
// KSW_EZ_REV_CIGAR, the operations from last to first. Calls with other flags are left to minimap2, and so are unusual
// scorings and alphabets: no mapping with the preset has them.

namespace qel_minimap2::kernel {

/// Aligns with registers of kBits bits. Sets the fields of `result` and its CIGAR to what minimap2's ksw_extd2_sse
/// computes for the same call, except for what its callers do not read: `mte` and `mte_q` are not set, and an extension
/// (KSW_EZ_EXTZ_ONLY) may end before `score` is known. Returns false for a call that is left to minimap2, and when
/// there is no memory. Any thread.
template <int kBits>
bool AlignBases(const AlignmentCall& call, ksw_extz_t& result);
template <>
bool AlignBases<128>(const AlignmentCall& call, ksw_extz_t& result);
template <>
bool AlignBases<256>(const AlignmentCall& call, ksw_extz_t& result);

}  // namespace qel_minimap2::kernel
