#pragma once

#include <memory>
#include <string>

#include "third_party_alignment/alignment_result.h"

namespace ThirdPartyAlignment {

/// Interface of an aligner back-end that turns one read per call into SAM text.
class ExtAlignCaller {
public:
    /// Aligns one read. Returns SAM text: header lines, if the back-end writes any, and one or more alignment lines.
    /// Throws std::runtime_error if the aligner fails. Each back-end states whether several threads may call one
    /// instance.
    virtual std::string Call(const std::string& sequence, const std::string& read_name) = 0;

    virtual ~ExtAlignCaller() = default;

    /// Returns a second caller with the same type and settings. The two may share costly data, such as an index.
    virtual std::shared_ptr<ExtAlignCaller> Copy() const = 0;

    /// Returns the result of a read whose alignment is rejected: genome "*", genome_start 0, coverage 0, all other
    /// figures -1, and an unmapped SAM record without header, bases or qualities.
    virtual AlignmentResult CreateUnalignedResult(const std::string& read_name) const;

protected:
    ExtAlignCaller() = default;
    ExtAlignCaller(const ExtAlignCaller&) = default;
    ExtAlignCaller& operator=(const ExtAlignCaller&) = default;
};

}  // namespace ThirdPartyAlignment
