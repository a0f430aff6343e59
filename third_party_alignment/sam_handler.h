#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "third_party_alignment/alignment_result.h"

namespace ThirdPartyAlignment {

class SamHeader;

/// Computes the figures of one read from the aligner's SAM text. Any thread.
class SamHandler {
public:
    /// Reads the header lines (for the reference lengths, see SamHeader) and the first alignment line of
    /// `sam`; further lines stay in the result's `sam_record` unchanged. `query_length`: number of bases of the aligned
    /// read. Only RNAME "*" means unmapped; such a record keeps the defaults except genome_start = -1, and missing SEQ
    /// and QUAL columns are added to it.
    ///
    /// Throws std::runtime_error for an optional field that is not TAG:TYPE:VALUE and for a CIGAR with operations other
    /// than H, S, I, D and M; std::out_of_range for a mapped record without NM or AS; what std::stoi throws when a
    /// value of these or an "@SQ" length is not a number. Divisions are not guarded: a zero denominator yields an
    /// infinity or NaN.
    static AlignmentResult Parse(std::string&& sam, int query_length);

    /// The result of Parse for `header` and `lines` together, but `sam_record` lacks the header. `header` has no
    /// records, and `lines` do not begin with "@". Throws as Parse does.
    static AlignmentResult ParseLines(const SamHeader& header, std::string&& lines, int query_length);

private:
    static void ReadRecord(const SamHeader& header, std::size_t record, int query_length, AlignmentResult& result);
    /// Sets strand_start, num_insertions, num_deletions and num_aligned; all 0 for an empty CIGAR. H counts
    /// as S, and a clip counts only as the first operation.
    static void ParseCigar(const std::string& cigar, AlignmentResult& result);
    /// Extracts one length and operation from the NUL-terminated text at `cursor`; (-1, '?') when malformed. The length
    /// is accumulated modulo 2^32.
    static std::pair<std::int32_t, char> NextCigarOp(const char*& cursor);
};

}  // namespace ThirdPartyAlignment
