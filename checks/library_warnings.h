#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Checks {

/// Collects the warnings and errors that the libraries below log while it lives, in place of their printing them.
/// One at a time.
class LibraryWarnings {
public:
    LibraryWarnings();
    LibraryWarnings(const LibraryWarnings&) = delete;
    LibraryWarnings& operator=(const LibraryWarnings&) = delete;
    ~LibraryWarnings();

    /// The texts since the last call.
    std::vector<std::string> Take();

private:
    struct Sink;
    std::unique_ptr<Sink> sink;
};

}  // namespace Checks
