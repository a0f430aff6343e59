#pragma once

#include <string>

#include "third_party_alignment/alignment_result.h"
#include "third_party_alignment/ext_align_caller.h"

namespace ThirdPartyAlignment {

/// Aligns one read and applies the coverage rule.
///
/// `reverse` aligns the bases in opposite order, without complementing them. A result whose coverage is above
/// 1e-7 but not above `min_coverage` is replaced by the caller's unaligned result; a coverage of 0 keeps the
/// record that the aligner wrote. Throws what the caller and SamHandler::Parse throw. As safe for concurrent
/// use as the caller is.
AlignmentResult AlignRead(ExtAlignCaller* caller, const std::string& sequence, const std::string& read_name,
                          bool reverse, float min_coverage);

}  // namespace ThirdPartyAlignment
