#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "reports/run_log.h"

namespace Reports {

/// Facts from the log files about the run that wrote a summary, or about all runs whose summaries were joined.
struct RunFacts {
    /// Whether the run is in progress. If so, a log without an end is not a finding, and the log may count fewer reads
    /// than the summary has rows.
    bool in_progress = false;
    std::uint64_t runs = 1;                                ///< Number of run folders.
    std::uint64_t logs = 0;                                ///< Number of log files read.
    std::string log_file;                                  ///< Path of the log file read last.
    std::string begin;                                     ///< When the earliest run began, to the second.
    std::string end;                                       ///< When the latest record of all runs was written.
    std::uint64_t milliseconds = 0;                        ///< Total duration of the finished runs.
    std::set<std::string> versions;                        ///< Versions of the aligner.
    std::map<std::string, std::set<std::string>> options;  ///< Values of options, by name.
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
