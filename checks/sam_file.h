#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "checks/sam_record.h"
#include "common/line_reader.h"

namespace Checks {

/// The "@SQ" lines of SAM files; those of the file read last are kept, since the files of a run have the same.
class SamHeaders {
public:
    /// Reads header lines. Throws std::runtime_error for lines that are no "@SQ" lines.
    void Read(const std::string& lines);

    const ReferenceLengths& References() const { return references; }
    /// Stands for the text of the lines read last.
    const std::string& Digest() const { return digest; }

private:
    ReferenceLengths references;
    std::string digest;
};

/// One read of a SAM file: its first record, the other ones having been checked.
struct SamRead {
    std::string name;
    std::string digest;  ///< Of the read's sequence in its own direction; empty if the record does not give it.
    std::string cells;   ///< What SummaryCells makes of the record.
    std::uint64_t line = 0;
};

/// Reads a SAM file read by read. Not synchronised.
class SamFile {
public:
    /// Opens the file and reads its header. Throws std::runtime_error with the reason, without the file's name; so does
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
    SamRecord record;      // Of `line`.
    bool pending = false;  // The record has been read and not been taken.
    // Of the read that is being read.
    std::string name;
    std::string sequence;  // In its own direction.
    std::int64_t supplementary_due = 0;
};

}  // namespace Checks
