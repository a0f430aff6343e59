#pragma once

#include <string>
#include <variant>
#include <vector>

namespace Reports {

/// The parsed command line.
struct Options {
    std::vector<std::string> summaries;  ///< One or more save folders or paths of summaries.
    std::string output_path;             ///< Folder of the report; empty: that of the first usable summary.
    std::string title;                   ///< Title of the page; empty for kDefaultTitle.
    bool quiet = false;                  ///< Print nothing on standard output and show no progress.
};

/// Returns the options, or the exit status if the program ends at once: 0 after printing help or the version (1 if that
/// cannot be written), 255 after a message on standard error about wrong options.
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace Reports
