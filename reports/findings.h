#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reports/sample.h"

namespace Reports {

/// A reason why a sample's figures may not cover all its reads.
struct Finding {
    bool is_error = false;              ///< Otherwise a warning.
    std::string text;                   ///< What it is and how often: "2 reads failed".
    std::vector<std::string> messages;  ///< The first of its log messages.
    std::uint64_t more = 0;             ///< The number of further messages.
};

/// The problems of a run, the most severe first, found from the log files beside the summary and its number of rows.
/// Empty if there are no problems, or no log file.
std::vector<Finding> FindingsOf(const Sample& sample);

/// The difference between the number of rows in the summary and the number of reads in the log files. 0 if the log
/// files do not give the number of reads, because a run or a file did not finish.
std::uint64_t RowDifference(const Sample& sample);

/// The number of runs whose log file is missing or cannot be read; 0 if no run has a log file.
std::uint64_t UnknownRuns(const RunFacts& run);

}  // namespace Reports
