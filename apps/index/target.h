#pragma once

#include <string>

namespace Indexing {

/// Throws std::runtime_error "<path>: <reason>" if `path` is a folder, a device or another special file, is `reference`
/// itself, cannot be read, or is neither empty nor an index written by tavik_index, and if its folder is not writable.
/// Call before reading the reference, so that the program fails at once.
void RequireWritable(const std::string& path, const std::string& reference);

/// After this call, SIGHUP, SIGINT and SIGTERM remove unfinished index files before they end the process. Signals that
/// were ignored stay ignored.
void RemoveUnfinishedOnSignals();

}  // namespace Indexing
