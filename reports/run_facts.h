#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "reports/run_log.h"

namespace Reports {

/// Facts from the log files about the run that wrote a summary, or about all runs whose summaries were joined.
struct RunFacts {
    std::uint64_t runs = 1;                                ///< Folders of runs.
    std::uint64_t logs = 0;                                ///< Log files that were read.
    std::string log_file;                                  ///< The path of one of them.
    std::string begin;                                     ///< When the first run began, as the log file writes it.
    std::string end;                                       ///< When the last record of the last run was written.
    std::uint64_t milliseconds = 0;                        ///< Total of all runs that finished.
    std::set<std::string> versions;                        ///< Versions of the aligner.
    std::map<std::string, std::set<std::string>> options;  ///< Values by name.
    std::uint64_t finished_files = 0;
    std::uint64_t finished_reads = 0;
    Messages unfinished;  ///< Runs that did not finish.
    Messages unreadable;  ///< Log files that cannot be read.
    Messages missing;     ///< Runs without a log file.
    Messages failed_files;
    Messages failed_reads;
    Messages errors;
    Messages warnings;
};

/// Reads the newest log file of each run whose rows are in the summary in `folder` (see RunFolders).
RunFacts ReadRunFacts(const std::string& folder);

}  // namespace Reports
