#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reports/sample.h"

namespace Reports {

/// A problem of a sample's runs.
struct Finding {
    bool is_error = false;              ///< Otherwise a warning.
    std::string text;                   ///< Such as "2 reads failed".
    std::vector<std::string> messages;  ///< Details of the first occurrences, such as log messages.
    std::uint64_t more = 0;             ///< The number of further messages.
};

/// The problems of a sample's runs, the most severe first, found in the log files and by counting the summary's rows.
/// Empty if there are no problems or no log files.
std::vector<Finding> FindingsOf(const Sample& sample);

/// The difference between the number of rows in the summary and the number of reads in the log files. 0 if the number
/// of reads is unknown, because a log file is missing or cannot be read, a run or an input file did not finish, or the
/// run is in progress.
std::uint64_t RowDifference(const Sample& sample);

/// The number of runs whose log file is missing or cannot be read; 0 if no run has a log file.
std::uint64_t UnknownRuns(const RunFacts& run);

}  // namespace Reports
