#pragma once

#include "apps/index/options.h"

namespace Indexing {

/// Runs the task that the options name. Returns the exit status:
/// - kDone: the task succeeded;
/// - kWrongUsage: the index to check or describe cannot be read; a message has been printed;
/// - kFailed: the index to describe cannot be loaded; the wrapper library has printed the reason.
///
/// Throws std::exception if the index cannot be made or is not sound.
int Execute(const Options& options);

}  // namespace Indexing
