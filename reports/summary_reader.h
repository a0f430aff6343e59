#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/line_reader.h"

namespace Reports {

/// One checked row of an alignment summary. All figures of an unaligned read are -1, except that the start of a
/// rejected read is 0.
struct SummaryRow {
    /// Name of the reference sequence, with "_rc" appended for the reverse strand; "*" for an unaligned read.
    /// Valid until the next row is read.
    std::string_view genome;
    std::int32_t genome_start = -1;  ///< 1-based; -1 for an unmapped read, 0 for a rejected read.
    std::int32_t genome_end = -1;    ///< 1-based; the position after the last aligned base.
    std::int32_t insertions = -1;    ///< In bases.
    std::int32_t deletions = -1;     ///< In bases.
    std::int32_t aligned = -1;       ///< Number of bases aligned to a base.
    std::int32_t correct = -1;       ///< Number of bases aligned to the same base; at most `aligned`.

    bool IsAligned() const { return genome_start > 0; }
    bool IsRejected() const { return genome_start == 0; }
};

/// Reads alignment_summary.txt row by row. The constructor and Next throw std::runtime_error "<path>: line <number>:
/// <what is wrong>" if the file is damaged or not a summary, and std::system_error as LineReader does. Not
/// synchronised.
class SummaryReader {
public:
    /// Opens the file and checks its header line. Reads `block` bytes at a time, or more for a longer line.
    explicit SummaryReader(const std::string& path, std::size_t block = std::size_t{1} << 20U);

    /// Reads the next row. Returns false at the end. Leaves out a last line without a line feed, which an interrupted
    /// run may have written.
    bool Next(SummaryRow& row);

    /// The number of the last line if it was left out, otherwise 0. Known once Next has returned false.
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
