#pragma once

#include "checks/options.h"

namespace Checks {

/// Compares the newest log file in the save folder with the run's input files, SAM files and summary. Prints one line
/// for each finding, or one line saying that nothing was lost, to standard output. If nothing was lost, writes the
/// table that `options` names, if any. Returns kNothingLost or kLost. Throws std::exception if the input files cannot
/// be listed or the result cannot be written.
int CheckRun(const Options& options);

}  // namespace Checks
