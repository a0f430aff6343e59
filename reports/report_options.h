#pragma once

#include <string>
#include <variant>
#include <vector>

namespace Reports {

/// What the command line asks for.
struct Options {
    std::vector<std::string> summaries;  ///< Save folders, or paths of summaries; one or more.
    std::string output_path;             ///< Folder; empty: beside the first summary.
    std::string title;                   ///< Of the page.
    bool quiet = false;                  ///< Nothing on standard output, no progress display.
};

/// The options, or the exit status where there is nothing to do: 0 after help or version, which go to standard
/// output (1 if they cannot), 255 after wrong options, which are told on standard error.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Reports
