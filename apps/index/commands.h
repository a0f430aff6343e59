#pragma once

#include "apps/index/options.h"

namespace Indexing {

/// Runs the task that the options name and returns the exit status. Prints a message and returns kWrongUsage if the
/// index to check or describe cannot be read. Throws std::exception if the index cannot be made or is not sound.
/// Returns kFailed instead if the wrapper library has already printed the reason.
int Execute(const Options& options);

}  // namespace Indexing
