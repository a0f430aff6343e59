#pragma once

#include <string>
#include <vector>

namespace Checks {

/// The input files of a run.
struct InputList {
    std::string folder;              ///< The input folder; empty if a list was given.
    std::vector<std::string> files;  ///< Sorted paths relative to the folder, or the lines of the list.
};

/// Finds the read files as the aligner does. `input`: a folder, a file with a list, or "-" for a list on standard
/// input. Each line of a list is a path, even an empty line. Throws std::system_error "<path>: <reason>" if a folder or
/// the list cannot be read to its end.
InputList FindInput(const std::string& input, bool recursive);

/// The path of the SAM file of `file`, relative to the save folder. `input_path`: the run's option of this name, which
/// is empty for a list.
std::string SamName(const std::string& file, const std::string& input_path);

}  // namespace Checks
