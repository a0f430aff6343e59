#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Checks {

/// What the log says about one input file.
struct LoggedFile {
    std::string file;                       ///< The name in the log.
    std::optional<std::int64_t> reads;      ///< Number of aligned reads; unset if the file was not finished.
    std::uint64_t failed_reads = 0;         ///< Number of errors about single reads.
    std::vector<std::string> failed_names;  ///< Identifiers of the failed reads, except reads without an identifier.
    std::vector<std::string> problems;      ///< Other errors and warnings logged before the file was finished.
};

/// What the log says about a run.
struct RunLog {
    std::string path;                       ///< Path of the log file; empty if it cannot be read.
    std::optional<std::string> input_path;  ///< The run's option of this name; unset if the run did not log it.
    std::vector<std::string> findings;      ///< Errors and warnings not in `failed_reads`; also an unfinished run.
    std::vector<std::string> failed_reads;  ///< Errors about single reads.
    std::vector<LoggedFile> files;          ///< In the order of the run; a file listed twice appears twice.
    bool done = false;                      ///< The run finished.
};

/// Reads the last run in the log file whose name has the latest time. A missing, unreadable or incomplete log file is a
/// finding, not an exception.
RunLog ReadRunLog(const std::string& save_folder);

}  // namespace Checks
