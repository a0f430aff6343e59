#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "checks/sam_record.h"
#include "common/line_reader.h"

namespace Checks {

/// The "@SQ" lines of the last SAM file read. They are kept because all files of a run have the same ones.
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

/// The first record of a read in a SAM file; its other records have been checked.
struct SamRead {
    std::string name;
    std::string digest;  ///< Of the sequence in the read's direction; empty if the record has no sequence.
    std::string cells;   ///< SummaryCells of the record.
    std::uint64_t line = 0;
};

/// Reads a SAM file read by read. Not synchronised.
class SamFile {
public:
    /// Opens the file and reads its header. Throws std::runtime_error with the reason, without the file's name, as does
    /// Next.
    SamFile(const std::string& path, SamHeaders& headers);

    /// The next read; false at the end.
    bool Next(SamRead& read);

private:
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
    // These members describe the read that is being read.
    std::string name;
    std::string sequence;  // In the read's direction.
    std::int64_t supplementary_due = 0;
};

}  // namespace Checks
