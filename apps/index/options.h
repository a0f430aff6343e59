#pragma once

#include <string>
#include <variant>

namespace Indexing {

/// Exit statuses of the program.
inline constexpr int kDone = 0;        ///< The task succeeded, or help or the version was printed.
inline constexpr int kFailed = 1;      ///< The index is not sound, or the program failed in another way.
inline constexpr int kWrongUsage = 2;  ///< Wrong options, or the index to check or describe cannot be read.

enum class Task { write, check, describe };

/// The parsed command line.
struct Options {
    Task task = Task::write;
    std::string reference;  ///< Only for Task::write.
    std::string index;
    int threads = 0;  ///< 0: one for each core.
    bool quiet = false;
};

/// Returns the options, or the exit status if the program ends at once: kDone after printing help or the version,
/// kWrongUsage after a message on standard error about wrong options.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Indexing
