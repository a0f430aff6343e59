#pragma once

#include <string>
#include <vector>

namespace Checks {

/// The input files of a run, as its user names them.
struct InputList {
    std::string folder;              ///< Empty if a list was given.
    std::vector<std::string> files;  ///< Relative to the folder, sorted; or as in the list.
};

/// Finds the read files as the aligner does. `input` is a folder, a file with one path per line, or "-" for such lines
/// on standard input; an empty line counts as a path. Throws a std::system_error that names what cannot be read.
InputList FindInput(const std::string& input, bool recursive);

/// The path of the SAM file of `file`, relative to the save folder. `input_path` is that of the run, empty for a list.
std::string SamName(const std::string& file, const std::string& input_path);

}  // namespace Checks
