#pragma once

#include <span>
#include <string>

namespace qel_minimap2 {

struct GuardedRange;

/// Ends the process with status 1 and a line on standard error if an access to the guarded bytes of a mapped file
/// fails. This happens if the file becomes shorter, its disk fails, or another machine replaces the file on a network
/// file system. Without a guard, SIGBUS would end the process without a message.
///
/// The first guard of the process installs a SIGBUS handler, which passes signals for other addresses on to the
/// previous handler.
class BusGuard {
public:
    /// `path` is named in the message. Throws std::bad_alloc. Any thread.
    BusGuard(std::span<const unsigned char> bytes, const std::string& path);
    BusGuard(const BusGuard&) = delete;
    BusGuard& operator=(const BusGuard&) = delete;
    ~BusGuard();

private:
    GuardedRange* range;
};

}  // namespace qel_minimap2
