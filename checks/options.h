#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace Checks {

/// Exit statuses of the program.
inline constexpr int kNothingLost = 0;
inline constexpr int kLost = 1;         ///< Something was lost, or no run took place.
inline constexpr int kCannotCheck = 2;  ///< Wrong options, or a file that they name cannot be read or written.

/// What the command line asks for.
struct Options {
    std::string input;        ///< Input folder, file with a list of files, or "-" for a list on standard input.
    std::string save_folder;  ///< The run's save folder.
    bool recursive = false;
    std::uint64_t allowed_failed_reads = 0;
    std::string table;  ///< Path of the table to write; empty: no table.
};

/// The options, or the exit status if there is nothing to do: kNothingLost after help on standard output, kCannotCheck
/// after wrong options, with a message on standard error.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Checks
