#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Checks {

/// What the log tells of one input file.
struct LoggedFile {
    std::string file;                       ///< As the aligner named it.
    std::optional<std::int64_t> reads;      ///< Aligned ones; none if the file was not finished.
    std::uint64_t failed_reads = 0;         ///< Reads that failed with an error of their own.
    std::vector<std::string> failed_names;  ///< Identifiers of those of them that have one.
    std::vector<std::string> problems;      ///< Texts of the errors and warnings while the file was read.
};

/// The newest run that the log files of a save folder tell of.
struct RunLog {
    std::string path;                       ///< Of the log file; empty if there is none.
    std::optional<std::string> input_path;  ///< None if the run did not get as far as telling it.
    std::vector<std::string> findings;      ///< Errors and warnings, and that the run did not come to its end.
    std::vector<std::string> failed_reads;  ///< The errors about single reads.
    std::vector<LoggedFile> files;          ///< In the order of the run. A file that was named twice is there twice.
    bool done = false;                      ///< The run came to its end.
};

/// Reads the log file whose name tells the latest time; never throws for what is missing, unreadable or cut short: that
/// is a finding.
RunLog ReadRunLog(const std::string& save_folder);

}  // namespace Checks
