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

/// Compares the rows of a summary with the reads of the SAM files, which come in the order of the run. Not
/// synchronised.
class SummaryComparison {
public:
    /// Opens the summary and checks its header.
    explicit SummaryComparison(const std::string& path);

    /// The next read of the SAM files: its name, and the columns of its row behind the name. `other_cells`, unless it
    /// is empty, are as right as `cells`.
    void Expect(std::string_view name, std::string_view cells, std::string_view other_cells);

    /// The next reads of the run have no SAM records that could be used, and this number of rows.
    void SkipRows(std::uint64_t count);

    /// The next reads of the run have no SAM records that could be used, and an unknown number of rows.
    void SkipUnknownRows() { gaps = true; }

    /// Reads the rows that are left. `told`: names of reads whose loss has been told already. `logged`: the number of
    /// rows that the log leads to expect, if it tells. Returns what was found since the beginning.
    std::vector<std::string> Finish(const std::set<std::string>& told, std::optional<std::uint64_t> logged);

private:
    bool NextRow();
    void AddDifferences(const std::set<std::string>& told);
    std::string Tell(const ReadBalance::Difference& difference) const;

    const std::string path;
    std::unique_ptr<Common::LineReader> lines;  // None where there is no summary.
    bool at_end = false;
    std::uint64_t rows = 0;
    // Of the row read last.
    std::string_view name;
    std::string_view cells;
    ReadBalance balance;
    std::vector<std::string> findings;
    std::string half_row;  // The name in it.
    bool gaps = false;     // There are rows that no SAM record explains.
};

}  // namespace Checks
