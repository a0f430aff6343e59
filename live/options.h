#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace Live {

/// Exit statuses of the program.
inline constexpr int kNothingLost = 0;
inline constexpr int kLost = 1;  ///< Reads are missing, or a file or standard output could not be written at the end.
inline constexpr int kCannotRun = 2;  ///< Wrong options, another run in the folder, or files that cannot be used.

struct Options {
    std::string reads;  ///< The folder to watch.
    std::string save_folder;
    std::string reference;  ///< Index or reference file.
    double min_coverage = 0.6;
    int worker_threads = 4;
    std::uint64_t allowed_failed_reads = 0;  ///< In each file.
    double settle = 30;                      ///< Seconds without a change after which a file may be complete.
    double interval = 2;                     ///< Seconds between two looks at the folder.
    std::optional<double> until_idle;        ///< Minutes without a change after which the run ends.
    std::string until_file;                  ///< Name of the file that ends the run; empty if there is none.
    std::string aligner;                     ///< The path of the program tavik_aligner.
    bool quiet = false;                      ///< Print nothing on standard output.
};

/// Returns the options, or the exit status if the program is to end at once. The status is kNothingLost after printing
/// help or version to standard output, and kCannotRun after printing what is wrong with the options to standard error.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Live
