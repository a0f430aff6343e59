#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace Checks {

/// Exit statuses of the program.
inline constexpr int kNothingLost = 0;
inline constexpr int kLost = 1;         ///< Something was lost or altered, or there was no complete run.
inline constexpr int kCannotCheck = 2;  ///< Wrong usage, an unreadable input folder or list, or an unwritable result.

struct Options {
    std::string input;  ///< Input folder, file with a list of files, or "-" for a list on standard input.
    std::string save_folder;
    bool recursive = false;  ///< The run searched sub-folders too.
    std::uint64_t allowed_failed_reads = 0;
    std::string table;  ///< Path of the table to write; empty for none.
};

/// Returns the options, or the exit status if the program ends at once: kNothingLost after printing help, kCannotCheck
/// after a message on standard error about wrong options.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Checks
