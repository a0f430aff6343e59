#pragma once

namespace qel_minimap2 {

/// Memory of an index that somebody else made.
class ForeignMemory {
public:
    ForeignMemory() = default;
    ForeignMemory(const ForeignMemory&) = delete;
    ForeignMemory& operator=(const ForeignMemory&) = delete;
    virtual ~ForeignMemory() = default;

    /// Ends the process if the memory no longer holds what was checked. Call before using what was read from it. Any
    /// thread.
    virtual void RequireUnchanged() const = 0;
};

}  // namespace qel_minimap2
