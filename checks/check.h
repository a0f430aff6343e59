#pragma once

#include "checks/options.h"

namespace Checks {

/// Compares the newest log file of a run with its input files, its SAM files and its summary. Prints one line for each
/// finding, or one line saying that nothing was lost, to standard output. Writes the table if nothing was lost. Returns
/// kNothingLost or kLost. Throws std::exception if the input files cannot be listed or the result cannot be written.
int CheckRun(const Options& options);

}  // namespace Checks
