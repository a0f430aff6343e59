#include "third_party_alignment/align_read.h"

#include <typeinfo>
#include <utility>

#include "third_party_alignment/minimap2_caller.h"
#include "third_party_alignment/sam_handler.h"
#include "third_party_alignment/sam_header.h"

namespace ThirdPartyAlignment {

namespace {

// A read without aligned bases is deliberately not rejected: it keeps the aligner's own record.
bool IsRejected(const AlignmentResult& result, float min_coverage) {
    const double coverage = result.coverage;
    return coverage > 1e-7 && min_coverage >= result.coverage;
}

// Gets the read's records without the header, and parses them with the header that the caller has already read.
AlignmentResult CallAndParse(Minimap2Caller& caller, const std::string& sequence, const std::string& read_name) {
    const auto length = static_cast<int>(sequence.size());
    auto lines = caller.CallWithoutHeader(sequence, read_name);
    if (lines.starts_with('@')) {  // SamHeader reads such a line as part of the header.
        return SamHandler::Parse(caller.Header().Text() + lines, length);
    }
    return SamHandler::ParseLines(caller.Header(), std::move(lines), length);
}

}  // namespace

AlignmentResult AlignRead(ExtAlignCaller* caller, const std::string& sequence, const std::string& read_name,
                          bool reverse, float min_coverage) {
    std::string sam =
        reverse ? caller->Call({sequence.rbegin(), sequence.rend()}, read_name) : caller->Call(sequence, read_name);
    auto result = SamHandler::Parse(std::move(sam), static_cast<int>(sequence.size()));
    if (IsRejected(result, min_coverage)) {
        result = caller->CreateUnalignedResult(read_name);
    }
    return result;
}

AlignmentResult AlignReadToLines(ExtAlignCaller* caller, const std::string& sequence, const std::string& read_name,
                                 float min_coverage) {
    const auto& any = *caller;
    // A class derived from Minimap2Caller may have a Call of its own.
    auto* const minimap2 = typeid(any) == typeid(Minimap2Caller) ? static_cast<Minimap2Caller*>(caller) : nullptr;
    if (minimap2 == nullptr || !minimap2->Header().StandsAlone()) {
        return AlignRead(caller, sequence, read_name, false, min_coverage);
    }
    auto result = CallAndParse(*minimap2, sequence, read_name);
    if (IsRejected(result, min_coverage)) {
        result = caller->ExtAlignCaller::CreateUnalignedResult(read_name);
    }
    return result;
}

}  // namespace ThirdPartyAlignment
