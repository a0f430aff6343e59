#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reports/sample.h"

namespace Reports {

/// A reason why the figures of a sample may not be those of all its reads.
struct Finding {
    bool is_error = false;              ///< Otherwise a warning.
    std::string text;                   ///< What it is and how often: "2 reads failed".
    std::vector<std::string> messages;  ///< The first of those that tell more.
    std::uint64_t more = 0;             ///< So many more messages there are.
};

/// What the log files beside a summary, and its number of rows, tell against the run; the gravest first. Empty if all
/// is well, and where there is no log file, which tells neither this nor that.
std::vector<Finding> FindingsOf(const Sample& sample);

/// By how many the summary's rows and the reads that the log files count differ. 0 where the log files do not know the
/// number of reads, because a run or a file did not come to its end.
std::uint64_t RowDifference(const Sample& sample);

/// The number of runs whose log file is missing or cannot be read; 0 where no run has one at all.
std::uint64_t UnknownRuns(const RunFacts& run);

}  // namespace Reports
