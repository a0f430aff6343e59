#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Reports {

/// What the aligner's log file tells of the run that wrote a summary. Texts are empty where it tells nothing.
struct RunFacts {
    std::string log_file;                                      ///< Its name; empty if there is none.
    std::string version;                                       ///< Of the aligner.
    std::string date;                                          ///< When the run began, as the log file writes it.
    std::string duration;                                      ///< Empty also if the run was interrupted.
    std::vector<std::pair<std::string, std::string>> options;  ///< Name and value, as the log file writes them.
    std::uint64_t finished_files = 0;                          ///< Input files read to their end.
    std::uint64_t warnings = 0;
    std::uint64_t errors = 0;
};

/// Reads the last run's log file in `folder`.
RunFacts ReadRunFacts(const std::string& folder);

}  // namespace Reports
