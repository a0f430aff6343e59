#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Checks {

/// Collects the warnings and errors that are logged while the object exists. They are not printed. Only one object may
/// exist at a time.
class LibraryWarnings {
public:
    LibraryWarnings();
    LibraryWarnings(const LibraryWarnings&) = delete;
    LibraryWarnings& operator=(const LibraryWarnings&) = delete;
    ~LibraryWarnings();

    /// Returns the texts logged since the previous call.
    std::vector<std::string> Take();

private:
    struct Sink;
    std::unique_ptr<Sink> sink;
};

}  // namespace Checks
