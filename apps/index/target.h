#pragma once

#include <string>

namespace Indexing {

/// Throws std::runtime_error "<path>: <reason>" if no index can or should be written at `path`: it is a folder, a
/// device or the like, `reference` itself, a file that is not an index or cannot be read, or its folder cannot be
/// written to. Call before reading the reference, so that the program fails at once.
void RequireWritable(const std::string& path, const std::string& reference);

/// From now on, SIGHUP, SIGINT and SIGTERM remove what is unfinished before they end the process. Ignored signals
/// stay ignored.
void RemoveUnfinishedOnSignals();

}  // namespace Indexing
