#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Checks {

/// While an object exists, it collects the warnings and errors logged by the code that reads files, and they are not
/// printed. Only one object may exist at a time.
class LibraryWarnings {
public:
    LibraryWarnings();
    LibraryWarnings(const LibraryWarnings&) = delete;
    LibraryWarnings& operator=(const LibraryWarnings&) = delete;
    ~LibraryWarnings();

    /// Returns the texts logged since the last call.
    std::vector<std::string> Take();

private:
    struct Sink;
    std::unique_ptr<Sink> sink;
};

}  // namespace Checks
