#pragma once

#include <string>

namespace Indexing {

/// Throws std::runtime_error "<path>: <reason>" if a file at `path` is not a regular file, is `reference` itself,
/// cannot be read, or is neither empty nor an index written by tavik_index. Also throws if the folder in which the file
/// is to be written is not writable; for a symbolic link, that is the folder of the link's target. Call before reading
/// the reference, so that the program fails at once.
void RequireWritable(const std::string& path, const std::string& reference);

/// After this call, SIGHUP, SIGINT and SIGTERM remove unfinished index files before they end the process. Signals that
/// were ignored stay ignored.
void RemoveUnfinishedOnSignals();

}  // namespace Indexing
