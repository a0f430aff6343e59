#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Reports {

/// Messages of one kind: how many there are, and the first five, each of them cut to 500 bytes.
struct Messages {
    std::uint64_t count = 0;
    std::vector<std::string> first;

    void Add(std::string_view message);
    /// Adds another run's, with `origin` in front of each.
    void Add(const Messages& others, const std::string& origin);
};

/// What the log file of one run tells. Texts are empty where it tells nothing.
struct RunLog {
    std::string version;                                       ///< Of the aligner.
    std::string begin;                                         ///< When the run began, to the second.
    std::string end;                                           ///< When the last record was made, to the second.
    std::vector<std::pair<std::string, std::string>> options;  ///< Name and value, as the log file writes them.
    bool is_finished = false;                                  ///< The run came to its end.
    std::uint64_t milliseconds = 0;                            ///< How long a finished run took.
    std::string current_file;                                  ///< The input file that was begun and did not end.
    std::uint64_t finished_files = 0;                          ///< Input files read to their end.
    std::uint64_t finished_reads = 0;                          ///< Rows of these files.
    Messages failed_files;
    Messages failed_reads;
    Messages errors;  ///< All others.
    Messages warnings;
};

/// Reads the last run in a log file. Runs that begin in one second share a file. Memory does not grow with the file.
/// Throws std::runtime_error with the system's reason if the file cannot be read.
RunLog ReadRunLog(const std::string& path);

}  // namespace Reports
