#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace Checks {

/// Exit statuses of the program.
inline constexpr int kNothingLost = 0;
inline constexpr int kLost = 1;         ///< Or no run took place.
inline constexpr int kCannotCheck = 2;  ///< Wrong options, or a file of the command line cannot be read or written.

/// What the command line asks for.
struct Options {
    std::string input;        ///< Input folder, file with a list of files, or "-" for a list on standard input.
    std::string save_folder;  ///< Of the run.
    bool recursive = false;
    std::uint64_t allowed_failed_reads = 0;
    std::string table;  ///< File to write; empty: none.
};

/// The options, or the exit status where there is nothing to do: kNothingLost after help, which goes to standard
/// output, kCannotCheck after wrong options, which are told on standard error.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Checks
