#pragma once

#include "checks/options.h"

namespace Checks {

/// Judges a finished run by its newest log file, its input files, its SAM files and its summary. Writes one line for
/// each finding, or one line saying that nothing was lost, to standard output. Returns the exit status. Throws
/// std::exception if the run cannot be judged.
int CheckRun(const Options& options);

}  // namespace Checks
