#pragma once

#include <string>

namespace Indexing {

/// Checks that an index may be written to `path`. Call before reading the reference, so that the program fails at once.
/// Throws std::runtime_error "<path>: <reason>" if
/// - an existing file is not a regular file, is `reference` itself or cannot be read;
/// - an existing file is neither empty nor an index made by tavik_index;
/// - the folder of the file is not writable (for a symbolic link, the folder of the link's target).
void RequireWritable(const std::string& path, const std::string& reference);

/// After this call, SIGHUP, SIGINT and SIGTERM remove unfinished index files before they end the process. Signals that
/// were ignored stay ignored.
void RemoveUnfinishedOnSignals();

}  // namespace Indexing
