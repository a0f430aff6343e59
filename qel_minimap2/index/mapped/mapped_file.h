#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "common/file_descriptor.h"
#include "qel_minimap2/index/mapped/bus_guard.h"

namespace qel_minimap2 {

/// A file in memory that all processes share, read-only. When another program shortens it, or the disk fails, an access
/// ends the process; see BusGuard.
class MappedFile {
public:
    /// Throws std::runtime_error with the system's reason.
    explicit MappedFile(const std::string& path);
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    std::span<const unsigned char> Bytes() const { return bytes; }
    /// Tells the system that the bytes will be read from the first to the last, or in any order, as at the beginning.
    /// The former makes reading from a disk three times as fast; the latter keeps pages in memory that are used often.
    void ExpectReadingInOrder(bool in_order) const;

    /// What a write to the file changes.
    struct State {
        std::uint64_t size;     ///< In bytes.
        std::int64_t modified;  ///< The time of the last write, in nanoseconds.
        bool operator==(const State&) const = default;
    };
    /// When the file was opened.
    const State& Opened() const { return opened; }
    /// Now; nothing if the system does not show it. Takes less than a microsecond on a local disk.
    std::optional<State> Now() const;
    /// See Common::FileIdentity; empty if the system does not show it.
    std::string Identity() const;

private:
    const Common::FileDescriptor file;
    State opened{};
    std::span<const unsigned char> bytes;
    std::optional<BusGuard> guard;
};

}  // namespace qel_minimap2
