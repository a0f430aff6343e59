#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Checks {

/// Lengths in bases, by name, of the reference sequences of a SAM header.
using ReferenceLengths = std::unordered_map<std::string, std::int64_t>;

/// One alignment line of a SAM file, checked against the rules of the format and of the aligner. The members of type
/// std::string_view point into the line.
struct SamRecord {
    /// Parses the line. Throws std::runtime_error with the reason if it breaks a rule.
    static SamRecord Parse(std::string_view line, const ReferenceLengths& references);

    bool IsFurther() const { return (flag & 0x900U) != 0; }  ///< A secondary or supplementary record.
    bool IsSupplementary() const { return (flag & 0x800U) != 0; }
    bool IsReverse() const { return (flag & 0x10U) != 0; }
    bool IsMapped() const { return (flag & 0x4U) == 0; }

    std::string_view name;
    std::uint32_t flag = 0;
    std::string_view reference;
    std::int64_t position = 0;             ///< Counted from 1; 0 for an unmapped read.
    std::string_view sequence;             ///< "*" if the record has no sequence.
    std::int64_t aligned = 0;              ///< Sum of the lengths of M in the CIGAR, in bases.
    std::int64_t insertions = 0;           ///< Sum of the lengths of I.
    std::int64_t deletions = 0;            ///< Sum of the lengths of D.
    std::int64_t leading_clip = 0;         ///< Length of the first operation if it is S or H.
    std::int64_t soft_clips = 0;           ///< Sum of the lengths of S.
    std::int64_t edit_distance = 0;        ///< Tag NM.
    std::int64_t score = 0;                ///< Tag AS.
    std::string_view other_supplementary;  ///< Tag SA; empty if there is none.

private:
    void ReadCigar(std::string_view cigar);
    void ReadTags(std::string_view tags);
    void CheckMapped(const ReferenceLengths& references) const;
};

/// The columns after the name in the read's summary row, each preceded by a tab. `first`: the read's first record.
/// A rejected read has kRejectedCells instead.
std::string SummaryCells(const SamRecord& first);

/// The columns of a rejected read and those of an unmapped read, in the form of SummaryCells.
inline constexpr std::string_view kRejectedCells = "\t*\t0\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1";
inline constexpr std::string_view kUnmappedCells = "\t*\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1";

}  // namespace Checks
