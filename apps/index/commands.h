#pragma once

#include "apps/index/options.h"

namespace Indexing {

/// Does what the options ask for; returns the exit status. Messages about what is wrong with a file go to standard
/// error. Throws std::exception if the index cannot be written.
int Execute(const Options& options);

}  // namespace Indexing
