#pragma once

#include <string>
#include <variant>

namespace Indexing {

/// Exit statuses of the program.
inline constexpr int kDone = 0;        ///< The index is written, or is sound.
inline constexpr int kFailed = 1;      ///< It could not be written, or is not sound.
inline constexpr int kWrongUsage = 2;  ///< Wrong options, or a file to check that cannot be read.

enum class Task { write, check, describe };

/// What the command line asks for.
struct Options {
    Task task = Task::write;
    std::string reference;  ///< Only for Task::write.
    std::string index;
    int threads = 0;  ///< 0: as many as there are cores.
    bool quiet = false;
};

/// The options, or the exit status if there is nothing to do: kDone after help or version on standard output,
/// kWrongUsage after wrong options, with a message on standard error.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Indexing
