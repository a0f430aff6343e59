#include "third_party_alignment/ext_align_caller.h"

namespace ThirdPartyAlignment {

AlignmentResult ExtAlignCaller::CreateUnalignedResult(const std::string& read_name) const {
    AlignmentResult result;  // The defaults of its members are the values for a rejected read.
    result.sam_record = read_name + "\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n";
    return result;
}

}  // namespace ThirdPartyAlignment
