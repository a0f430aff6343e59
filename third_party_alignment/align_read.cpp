#include "third_party_alignment/align_read.h"

#include <utility>

#include "third_party_alignment/sam_handler.h"

namespace ThirdPartyAlignment {

AlignmentResult AlignRead(ExtAlignCaller* caller, const std::string& sequence, const std::string& read_name,
                          bool reverse, float min_coverage) {
    std::string sam =
        reverse ? caller->Call({sequence.rbegin(), sequence.rend()}, read_name) : caller->Call(sequence, read_name);
    auto result = SamHandler::Parse(std::move(sam), static_cast<int>(sequence.size()));
    // Deliberately one-sided: a read without aligned bases is not "rejected" but keeps the aligner's own record.
    const double coverage = result.coverage;
    if (coverage > 1e-7 && min_coverage >= result.coverage) {
        result = caller->CreateUnalignedResult(read_name);
    }
    return result;
}

}  // namespace ThirdPartyAlignment
