#pragma once

#include <cstdint>
#include <string>

#include "common/value_map.h"

namespace ThirdPartyAlignment {

/// Where and how well one read aligned. The defaults are the figures of a rejected read and, except for genome_start,
/// of an unmapped record. Some defaults are deliberately 0 and others -1.
///
/// Lengths and coordinates are in bases. The strand coordinates follow the SAM record: for a hit on the reverse strand
/// they refer to the reverse complement of the read.
struct AlignmentResult {
    std::string genome = "*";          ///< Name of the reference sequence, plus "_rc" on the reverse strand.
    std::int32_t genome_start = 0;     ///< First aligned reference base, 1-based (SAM POS); -1 for an unmapped record.
    std::int32_t genome_end = -1;      ///< genome_start + num_aligned + num_deletions: one after the last base.
    std::int32_t strand_start = -1;    ///< Length of the CIGAR's first operation if that is S or H, else 0.
    std::int32_t strand_end = -1;      ///< strand_start + num_aligned + num_insertions.
    std::int32_t num_events = -1;      ///< Characters in the record's SEQ column.
    std::int32_t num_insertions = -1;  ///< Sum of the CIGAR's I lengths.
    std::int32_t num_deletions = -1;   ///< Sum of the CIGAR's D lengths.
    std::int32_t num_aligned = -1;     ///< Sum of the CIGAR's M lengths.
    std::int32_t num_correct = -1;     ///< num_aligned - (NM - num_deletions - num_insertions): the matches.
    float coverage = 0.0F;             ///< num_aligned / min(reference length, read length).
    float identity = -1.0F;            ///< num_correct / num_aligned.
    float accuracy = -1.0F;            ///< num_correct / (num_aligned + num_deletions + num_insertions).
    std::int32_t strand_score = -1;    ///< The aligner's score (SAM field AS).
    std::string sam_record;            ///< The read's SAM text.

    /// Returns all members. The key of each is "calibration_strand_" followed by the member's name.
    Common::ValueMap ToValueMap() const;
    /// The inverse of ToValueMap. Throws std::out_of_range "Key '<key>' not found." for a missing member, and
    /// std::bad_variant_access for a value of a different type.
    static AlignmentResult FromValueMap(const Common::ValueMap& values);
};

}  // namespace ThirdPartyAlignment
