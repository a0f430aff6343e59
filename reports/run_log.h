#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Reports {

/// Messages of one kind: their number and the first five.
struct Messages {
    std::uint64_t count = 0;
    std::vector<std::string> first;

    /// Cuts the message to 500 bytes.
    void Add(std::string_view message);
    /// Adds the messages of another run, with `origin` before each.
    void Add(const Messages& others, const std::string& origin);
};

/// What the log file says about one run. Texts that the file lacks are empty.
struct RunLog {
    std::string version;                                       ///< Version of the aligner.
    std::string begin;                                         ///< When the run began, to the second.
    std::string end;                                           ///< When the last record was written, to the second.
    std::vector<std::pair<std::string, std::string>> options;  ///< Name and first value, as the log file has them.
    bool is_finished = false;                                  ///< The run finished.
    std::uint64_t milliseconds = 0;                            ///< Duration of a finished run.
    std::string current_file;                                  ///< The input file that was begun but not finished.
    std::uint64_t finished_files = 0;                          ///< Input files read to the end.
    std::uint64_t finished_reads = 0;                          ///< Reads of these files, according to the log.
    Messages failed_files;
    Messages failed_reads;
    Messages errors;  ///< All other errors.
    Messages warnings;
};

/// Reads the last run in a log file. Runs that begin in the same second share a file. Memory does not grow with the
/// size of the file. Throws std::runtime_error with the system's reason if the file cannot be read.
RunLog ReadRunLog(const std::string& path);

}  // namespace Reports
