#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/line_reader.h"

namespace Reports {

/// One row of an alignment summary, checked. Of a read that is not aligned all figures are -1, but for the start.
struct SummaryRow {
    /// Name of the reference sequence, with "_rc" behind it for the reverse strand; "*" where nothing is
    /// aligned. Valid until the next row is read.
    std::string_view genome;
    std::int32_t genome_start = -1;  ///< Counted from 1; -1: unmapped; 0: rejected.
    std::int32_t genome_end = -1;    ///< Behind the last aligned position.
    std::int32_t insertions = -1;    ///< Bases.
    std::int32_t deletions = -1;     ///< Bases.
    std::int32_t aligned = -1;       ///< Bases aligned to a base.
    std::int32_t correct = -1;       ///< Bases aligned to the same base; at most `aligned`.

    bool IsAligned() const { return genome_start > 0; }
    bool IsRejected() const { return genome_start == 0; }
};

/// Reads alignment_summary.txt row by row, at the speed of a copy, in a buffer that only a long line makes
/// grow. What is no summary, or a damaged one, is refused with a std::runtime_error "<path>: line <number>:
/// <what is wrong>". Not synchronised.
class SummaryReader {
public:
    /// Opens the file and checks its header line. `block`: bytes read at a time, as long as no line is longer.
    explicit SummaryReader(const std::string& path, std::size_t block = std::size_t{1} << 20U);

    /// Reads the next row. False at the end. A last line without a line feed is what an interrupted run
    /// leaves: it is not read.
    bool Next(SummaryRow& row);

    /// At the end: the number of a last line without a line feed, which was left out; 0 if there is none.
    std::uint64_t HalfLine() const { return half_line; }

    std::uint64_t BytesRead() const { return lines.BytesRead(); }
    std::uint64_t FileSize() const { return lines.FileSize(); }

private:
    bool NextLine(std::string_view& line);
    [[noreturn]] void Refuse(const std::string& reason) const;
    std::int32_t Number(std::string_view text, std::size_t column) const;
    void CheckUnaligned(const SummaryRow& row) const;
    void CheckAligned(const SummaryRow& row) const;
    void CheckRatio(std::size_t column, std::int64_t part, std::int64_t whole) const;

    const std::string path;
    Common::LineReader lines;
    std::uint64_t half_line = 0;
    std::vector<std::string_view> cells;
};

}  // namespace Reports
