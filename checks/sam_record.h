#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Checks {

/// Lengths in bases, by name, of the reference sequences of a SAM header.
using ReferenceLengths = std::unordered_map<std::string, std::int64_t>;

/// One line of a SAM file as the aligner writes it, checked against the rules of the format and those of the aligner.
/// The texts are parts of the line.
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
    std::int64_t position = 0;  ///< Counted from 1; 0 for an unmapped read.
    std::string_view sequence;  ///< "*" if the record has no sequence.
    /// The sums of the lengths in the CIGAR, in bases, and its first and last operation where that clips.
    std::int64_t aligned = 0;
    std::int64_t insertions = 0;
    std::int64_t deletions = 0;
    std::int64_t leading_clip = 0;
    std::int64_t soft_clips = 0;
    std::int64_t edit_distance = 0;        ///< Tag NM.
    std::int64_t score = 0;                ///< Tag AS.
    std::string_view other_supplementary;  ///< Tag SA; empty if there is none.

private:
    void ReadCigar(std::string_view cigar);
    void ReadTags(std::string_view tags);
    void CheckMapped(const ReferenceLengths& references) const;
};

/// The columns of the read's summary row after its name, each preceded by a tab.
std::string SummaryCells(const SamRecord& first);

/// The same for a rejected and for an unmapped read.
inline constexpr std::string_view kRejectedCells = "\t*\t0\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1";
inline constexpr std::string_view kUnmappedCells = "\t*\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1";

}  // namespace Checks
