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

}  // namespace Reports
