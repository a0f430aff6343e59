#pragma once

#include "third_party_alignment/qel_minimap2/kernel/alignment_call.h"

namespace qel_minimap2::kernel {

/// Aligns with 32 lanes. Every field of `result` and its CIGAR become what the library's ksw_extd2_sse makes of the
/// same call. False, with the result reset, when there is no memory. Only on processors with AVX2; any thread.
bool AlignWithAvx2(const AlignmentCall& call, ksw_extz_t& result);

}  // namespace qel_minimap2::kernel
