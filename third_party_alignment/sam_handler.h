#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "third_party_alignment/alignment_result.h"

namespace ThirdPartyAlignment {

/// Turns the SAM text that an aligner returns for one read into figures. Any thread.
class SamHandler {
public:
    /// Reads the header lines (for the reference lengths, see SamHeader) and the first alignment line of
    /// `sam`; further lines stay in the result's `sam_record` untouched. `query_length`: bases of the read
    /// that was aligned. RNAME "*" alone means unmapped; such a record keeps the defaults but for
    /// genome_start = -1, and is completed when its SEQ and QUAL columns are missing.
    ///
    /// Throws std::runtime_error for an optional field that is no TAG:TYPE:VALUE and for a CIGAR with other
    /// operations than H, S, I, D and M; std::out_of_range for a mapped record without NM or AS; what
    /// std::stoi throws for a value of these or of an "@SQ" length that is no number. Divisions are not
    /// guarded: a zero denominator gives an infinity or NaN.
    static AlignmentResult Parse(std::string&& sam, int query_length);

private:
    /// Sets strand_start, num_insertions, num_deletions and num_aligned; all 0 for an empty CIGAR. H counts
    /// as S, and a clip counts only as the first operation.
    static void ParseCigar(const std::string& cigar, AlignmentResult& result);
    /// Takes one length and operation from the NUL-terminated text at `cursor`; (-1, '?') when malformed. The
    /// length is accumulated modulo 2^32.
    static std::pair<std::int32_t, char> NextCigarOp(const char*& cursor);
};

}  // namespace ThirdPartyAlignment
