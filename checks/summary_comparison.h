#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "checks/read_balance.h"
#include "common/line_reader.h"

namespace Checks {

/// Compares the rows of a summary with the reads of the SAM files, which must be passed in the order of the run. Not
/// synchronised.
class SummaryComparison {
public:
    /// Opens the summary and checks its header.
    explicit SummaryComparison(const std::string& path);

    /// Adds the next read of the SAM files: its name, and the columns of its row after the name. `other_cells`, unless
    /// empty, are accepted in place of `cells`.
    void Expect(std::string_view name, std::string_view cells, std::string_view other_cells);

    /// Skips the rows of reads without usable SAM records.
    void SkipRows(std::uint64_t count);

    /// The same for an unknown number of rows.
    void SkipUnknownRows() { gaps = true; }

    /// Reads the remaining rows. `told`: names of reads already reported as lost. `logged`: the number of rows
    /// according to the log, if known. Returns all findings.
    std::vector<std::string> Finish(const std::set<std::string>& told, std::optional<std::uint64_t> logged);

private:
    bool NextRow();
    void AddDifferences(const std::set<std::string>& told);
    std::string Tell(const ReadBalance::Difference& difference) const;

    const std::string path;
    std::unique_ptr<Common::LineReader> lines;  // Null if there is no summary.
    bool at_end = false;
    std::uint64_t rows = 0;
    // The name and the other cells of the row read last.
    std::string_view name;
    std::string_view cells;
    ReadBalance balance;
    std::vector<std::string> findings;
    std::string half_row;  // The name in a last row without a line feed.
    bool gaps = false;     // Some rows have no usable SAM record to compare with.
};

}  // namespace Checks
