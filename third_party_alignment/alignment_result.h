#pragma once

#include <cstdint>
#include <string>

#include "common/value_map.h"

namespace ThirdPartyAlignment {

/// Where and how well one read aligned. A plain value. The defaults are those of a read that has no alignment
/// and differ from each other on purpose: they are what the rows of unaligned reads show.
///
/// Lengths and coordinates are in bases. The strand coordinates are those of the SAM record, that is of the
/// reverse complement of the read for a hit on the reverse strand.
struct AlignmentResult {
    std::string genome = "*";          ///< Reference sequence hit, with "_rc" on the reverse strand.
    std::int32_t genome_start = 0;     ///< First aligned reference base, 1-based (SAM POS); -1 when unmapped.
    std::int32_t genome_end = -1;      ///< genome_start + num_aligned + num_deletions: one past the last base.
    std::int32_t strand_start = -1;    ///< Bases clipped (S or H) in front of the alignment.
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
    std::string sam_record;            ///< The SAM text that the values were taken from.

    /// All members by name, each under the key "calibration_strand_" + member.
    Common::ValueMap ToValueMap() const;
    /// The inverse of ToValueMap. Throws std::out_of_range "Key '<key>' not found." for a missing member.
    static AlignmentResult FromValueMap(const Common::ValueMap& values);
};

}  // namespace ThirdPartyAlignment
