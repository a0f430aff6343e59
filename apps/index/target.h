#pragma once

#include <string>

namespace Indexing {

/// Throws std::runtime_error "<path>: <reason>" if no index can or should be written at `path`: it is a folder, a
/// device or the like, `reference` itself or another file that is no index, or its folder cannot be written to. Shows
/// within a moment what would otherwise show only when the reference has been read.
void RequireWritable(const std::string& path, const std::string& reference);

/// From now on, SIGHUP, SIGINT and SIGTERM remove what is unfinished before they end the process. One that is ignored
/// stays ignored.
void RemoveUnfinishedOnSignals();

}  // namespace Indexing
