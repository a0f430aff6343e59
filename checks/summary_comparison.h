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

/// Compares the rows of a summary with the reads of the SAM files. Pass the reads in the order in which the run aligned
/// the files. Not synchronised.
class SummaryComparison {
public:
    /// Opens the summary and checks its header.
    explicit SummaryComparison(const std::string& path);

    /// Adds the next read of the SAM files. `cells`: the columns of its row after the name, each preceded by a tab.
    /// `other_cells`, unless empty, are accepted in place of `cells`.
    void Expect(std::string_view name, std::string_view cells, std::string_view other_cells);

    /// Skips the next `count` rows, those of reads without usable SAM records. After this call, Finish accepts rows
    /// without a SAM record, wherever they are.
    void SkipRows(std::uint64_t count);

    /// Call instead of SkipRows if the number of rows to skip is unknown.
    void SkipUnknownRows() { gaps = true; }

    /// Reads the remaining rows and returns all findings. `reported`: names of reads that have findings already; their
    /// rows are not reported. `logged`: the number of rows according to the log, if known. If a line cannot be read, no
    /// row counts as missing, because the rows after that line are unknown.
    std::vector<std::string> Finish(const std::set<std::string>& reported, std::optional<std::uint64_t> logged);

private:
    bool NextRow();
    void AddUnreadable(const std::string& reason);
    void AddDifferences(const std::set<std::string>& reported);
    std::string Describe(const ReadBalance::Difference& difference) const;

    const std::string path;
    std::unique_ptr<Common::LineReader> lines;  // Null if the summary cannot be read or has no header.
    bool at_end = false;
    std::uint64_t rows = 0;
    std::string_view name;   // The name in the row read last.
    std::string_view cells;  // The other columns of the row read last.
    ReadBalance balance;
    std::vector<std::string> findings;
    std::string half_row;     // The name in the last row if that row has no line feed.
    bool gaps = false;        // Whether Finish accepts rows without a SAM record.
    bool unreadable = false;  // Whether a line cannot be read. It and the lines after it are unknown.
};

}  // namespace Checks
