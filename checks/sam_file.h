#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "checks/sam_record.h"
#include "common/line_reader.h"

namespace Checks {

/// The "@SQ" lines of the SAM file read last. They are parsed again only if they change, because all files of a run
/// usually have the same lines.
class SamHeaders {
public:
    /// Reads header lines. Throws std::runtime_error for a line that is not an "@SQ" line.
    void Read(const std::string& lines);

    const ReferenceLengths& References() const { return references; }
    /// Digest of the lines read last.
    const std::string& Digest() const { return digest; }

private:
    ReferenceLengths references;
    std::string digest;
};

/// What the first record of a read in a SAM file contains. The other records of the read have been checked.
struct SamRead {
    std::string name;
    std::string digest;      ///< Digest of the sequence in the read's direction; empty if the record has no sequence.
    std::string cells;       ///< SummaryCells of the record.
    std::uint64_t line = 0;  ///< Line number of the record, 1-based.
};

/// Reads a SAM file one read at a time. Not synchronised.
class SamFile {
public:
    /// Opens the file and reads its header. The constructor and Next throw std::runtime_error with the reason, without
    /// the name of the file.
    SamFile(const std::string& path, SamHeaders& headers);

    /// Reads the next read. Returns false at the end.
    bool Next(SamRead& read);

private:
    bool NextLine();
    void Parse();
    bool NextRecord();
    void TakeFirst(SamRead& read);
    void TakeFurther();
    [[noreturn]] void Refuse(const std::string& reason) const;

    SamHeaders& headers;
    std::unique_ptr<Common::LineReader> lines;
    std::string_view line;
    SamRecord record;      // The columns of `line`.
    bool pending = false;  // The record has been read but not used yet.
    // The current read.
    std::string name;
    std::string sequence;                // In the read's direction.
    std::int64_t supplementary_due = 0;  // Records that the first record's tag SA lists, minus those read so far.
};

}  // namespace Checks
