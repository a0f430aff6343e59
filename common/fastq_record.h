#pragma once

#include <iosfwd>
#include <string>

#include "common/value_map.h"

namespace Common {

/// The result of FastQRecord::GetReadId for a title that consists of the marker alone.
inline constexpr char kInvalidReadId[] = "[invalid read id]";
/// The result of FastQRecord::GetRunId for a title without a run identifier.
inline constexpr char kInvalidRunId[] = "[invalid run id]";

/// One read: header line, bases and qualities. A plain value that owns its text. Several threads may call const
/// functions at once.
class FastQRecord {
public:
    /// An empty record, which is not validated.
    FastQRecord() = default;

    /// Copies the three texts. Calls Validate only if all three are non-empty, because a FASTA read has no qualities.
    FastQRecord(const std::string& title, const std::string& sequence, const std::string& qstring);

    /// Replaces the three texts, then always calls Validate. The new texts stay even if Validate throws.
    void Assign(const std::string& title, const std::string& sequence, const std::string& qstring);

    /// Checks, in this order, that `sequence` and `qstring` have the same length, that the sequence is valid
    /// (ValidateSequence) and that each quality has a code in 33..126. Throws std::runtime_error on the first failure.
    void Validate() const;

    /// Checks that each base is one of the upper-case letters "ACGTU". Throws std::runtime_error with the first other
    /// character and its 0-based position.
    void ValidateSequence() const;

    /// The record for error messages: "Header: ..\nSequence: ..\nQstring: ..", without a final line feed.
    std::string Describe() const;

    /// The whole header line, including its marker character ("@" or ">").
    std::string GetTitle() const { return title; }
    const std::string& GetSequence() const { return sequence; }
    const std::string& GetQString() const { return qstring; }

    bool IsFasta() const { return !sequence.empty() && qstring.empty(); }

    /// The record as FASTQ text, or as FASTA text if IsFasta, with one final line feed.
    std::string ToString() const;

    /// The text after the marker, up to the first blank (code 32 only) or, without a blank, to the end of the title.
    /// Logs an error and returns kInvalidReadId for a title that consists of the marker alone. Throws
    /// std::runtime_error for an empty title.
    std::string GetReadId() const;

    /// The value of "runid=" in the title, up to the next blank or the end of the title. "runid=" may be part of a
    /// longer word such as "xrunid=". Logs an error and returns kInvalidRunId for a title without "runid=". Throws
    /// std::runtime_error for an empty title.
    std::string GetRunId() const;

    /// Appends " <key>=<value>" to `title`.
    static void AppendTitleField(std::string& title, const std::string& key, const std::string& value);

    /// A header line "@<read_id> runid=.. sampleid=.. read=.. ch=.. start_time=.." from the attributes
    /// "read_id", "run_id", "sample_id", "time_stamp" (texts), "read_number" and "channel" (whole numbers).
    /// Throws what ValueMap::Get throws for an attribute that is missing or has a different type.
    static std::string ComposeTitle(const ValueMap& attributes);

private:
    std::string title;
    std::string sequence;
    std::string qstring;
    std::string comment;  // Unused; part of the record's fixed layout.
};

/// Writes title, bases and, unless IsFasta, "+" and qualities, one per line, without a final line feed.
std::ostream& operator<<(std::ostream& stream, const FastQRecord& record);

}  // namespace Common
