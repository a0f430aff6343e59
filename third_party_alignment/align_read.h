#pragma once

#include <string>

#include "third_party_alignment/alignment_result.h"
#include "third_party_alignment/ext_align_caller.h"

namespace ThirdPartyAlignment {

/// Aligns one read and applies the coverage rule: a result whose coverage is above 1e-7 but not above `min_coverage` is
/// replaced by that of CreateUnalignedResult. With a coverage of 0, the aligner's own record stays.
///
/// `reverse`: aligns the bases in reverse order, without complementing them. Throws what `caller` and SamHandler::Parse
/// throw. Thread-safe if `caller` is.
AlignmentResult AlignRead(ExtAlignCaller* caller, const std::string& sequence, const std::string& read_name,
                          bool reverse, float min_coverage);

/// Does the same as AlignRead without `reverse`, but the result's `sam_record` may lack the header lines. With a
/// Minimap2Caller, this usually saves copying and parsing the header for each read.
AlignmentResult AlignReadToLines(ExtAlignCaller* caller, const std::string& sequence, const std::string& read_name,
                                 float min_coverage);

}  // namespace ThirdPartyAlignment
