#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "common/file_descriptor.h"
#include "qel_minimap2/index/mapped/bus_guard.h"

namespace qel_minimap2 {

/// A file mapped read-only into memory. All processes that map the file share this memory. If another program shortens
/// the file, or the disk fails, an access ends the process (see BusGuard).
class MappedFile {
public:
    /// Throws std::runtime_error with the system's reason. Throws std::bad_alloc too.
    explicit MappedFile(const std::string& path);

    std::span<const unsigned char> Bytes() const { return {memory.get(), memory ? memory.get_deleter().size : 0}; }
    /// Tells the system whether the bytes will be read in order, from the first to the last. If so, the system reads
    /// them faster from a disk. If not, which is the default, it keeps frequently used pages in memory.
    void ExpectReadingInOrder(bool in_order) const;

    /// The properties of a file that change when a program writes to it.
    struct State {
        std::uint64_t size;     ///< In bytes.
        std::int64_t modified;  ///< The time of the last write, in nanoseconds.
        bool operator==(const State&) const = default;
    };
    const State& Opened() const { return opened; }
    /// The state now, or nothing if the system cannot determine it.
    std::optional<State> Now() const;
    /// See Common::FileIdentity. Empty if the system cannot determine it.
    std::string Identity() const;

private:
    struct Unmap {
        std::size_t size;
        void operator()(const unsigned char* mapped) const;
    };

    const Common::FileDescriptor file;
    State opened{};
    std::unique_ptr<const unsigned char, Unmap> memory;
    std::optional<BusGuard> guard;  // Of the memory.
};

}  // namespace qel_minimap2
