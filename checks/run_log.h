#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Checks {

/// What the log says about one input file.
struct LoggedFile {
    std::string file;  ///< The name in the log.
    /// Number of reads processed without an error, including unmapped reads; unset if the file was not finished.
    std::optional<std::int64_t> reads;
    std::uint64_t failed_reads = 0;         ///< Number of errors about single reads.
    std::vector<std::string> failed_names;  ///< Identifiers of the failed reads, except reads without an identifier.
    std::vector<std::string> problems;      ///< Other errors and warnings logged before the file was finished.
};

/// What the log says about a run.
struct RunLog {
    std::string path;                       ///< Path of the log file; empty if there is none or it cannot be read.
    std::optional<std::string> input_path;  ///< The run's option of this name; unset if the log lacks the run's start.
    std::vector<std::string> findings;      ///< Errors and warnings except `failed_reads`, and faults of the log file.
    std::vector<std::string> failed_reads;  ///< Errors about single reads.
    std::vector<LoggedFile> files;          ///< In the order of the run; a file listed twice appears twice.
    bool done = false;                      ///< The run finished.
};

/// Reads the last run in the newest log file in `save_folder`; the times in the files' names decide which is newest. A
/// missing, unreadable or incomplete log file is a finding, not an exception.
RunLog ReadRunLog(const std::string& save_folder);

}  // namespace Checks
