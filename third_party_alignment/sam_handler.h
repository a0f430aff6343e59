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
    /// Reads the first alignment line of `sam` and, from its header lines, the reference lengths (see SamHeader).
    /// Further lines stay unchanged in the result's `sam_record`. `query_length`: number of bases of the read.
    ///
    /// A record is unmapped if RNAME is "*" or cannot be read; the flag bit for unmapped reads is ignored. The result
    /// of an unmapped record has the defaults except genome_start = -1. If its SEQ column is missing or cannot be read,
    /// SEQ and QUAL columns are added before the line feed at the end of `sam`. Without that line feed, nothing is
    /// added.
    ///
    /// Throws what SamHeader::Of throws and, for a mapped record:
    /// - std::runtime_error for a POS, MAPQ, PNEXT or TLEN that is not a 32-bit number;
    /// - std::runtime_error for a CIGAR that is malformed or has operations other than H, S, I, D and M;
    /// - std::runtime_error for an optional field that is not TAG:TYPE:VALUE;
    /// - std::out_of_range if NM or AS is missing;
    /// - what std::stoi throws for the value of NM or AS.
    ///
    /// A division by zero gives an infinity or NaN.
    static AlignmentResult Parse(std::string&& sam, int query_length);

    /// Returns the result of Parse for `header` followed by `lines`, except that `sam_record` lacks the header.
    /// `header.StandsAlone()` must be true, and `lines` must not begin with "@". Throws what Parse throws.
    static AlignmentResult ParseLines(const SamHeader& header, std::string&& lines, int query_length);

private:
    static void ReadRecord(const SamHeader& header, std::size_t record, int query_length, AlignmentResult& result);
    /// Sets strand_start, num_insertions, num_deletions and num_aligned, all to 0 for an empty CIGAR. H counts as S,
    /// and a clip counts only if it is the first operation.
    static void ParseCigar(const std::string& cigar, AlignmentResult& result);
    /// Extracts one length and operation from the NUL-terminated text at `cursor` and moves `cursor` past them.
    /// Returns (-1, '?') for malformed text. The length is computed modulo 2^32.
    static std::pair<std::int32_t, char> NextCigarOp(const char*& cursor);
};

}  // namespace ThirdPartyAlignment
