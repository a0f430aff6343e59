#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Checks {

/// What the log says about one input file.
struct LoggedFile {
    std::string file;                       ///< As the aligner named it.
    std::optional<std::int64_t> reads;      ///< Number of aligned reads; unset if the file was not finished.
    std::uint64_t failed_reads = 0;         ///< Reads that failed with an error of their own.
    std::vector<std::string> failed_names;  ///< Their identifiers, where they have one.
    std::vector<std::string> problems;      ///< Errors and warnings logged while the file was read.
};

/// The newest run in the log files of a save folder.
struct RunLog {
    std::string path;                       ///< The log file's path; empty if there is none.
    std::optional<std::string> input_path;  ///< Unset if the run ended before logging it.
    std::vector<std::string> findings;      ///< Errors and warnings, and whether the run did not finish.
    std::vector<std::string> failed_reads;  ///< The errors about single reads.
    std::vector<LoggedFile> files;          ///< In the order of the run; a file listed twice appears twice.
    bool done = false;                      ///< The run finished.
};

/// Reads the log file whose name has the latest time. Does not throw if it is missing, unreadable or cut short: that is
/// a finding.
RunLog ReadRunLog(const std::string& save_folder);

}  // namespace Checks
