#pragma once

#include <string>
#include <variant>
#include <vector>

namespace Reports {

/// What the command line asks for.
struct Options {
    std::vector<std::string> summaries;  ///< Save folders, or paths of summaries; one or more.
    std::string output_path;             ///< Folder; empty: that of the first summary.
    std::string title;                   ///< The page's title.
    bool quiet = false;                  ///< Nothing on standard output, no progress display.
};

/// The options, or the exit status if there is nothing to do: 0 after help or version on standard output (1 if that
/// cannot be written), 255 after wrong options, with a message on standard error.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Reports
