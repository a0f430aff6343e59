#pragma once

#include <span>
#include <string>

namespace qel_minimap2 {

struct GuardedRange;

/// Ends the process with status 1 and a line on standard error when an access to mapped bytes fails: the file became
/// shorter, its disk failed, or, on a network disk, another machine replaced it. Without a guard, SIGBUS would end it
/// without a word.
///
/// The first guard of the process installs a handler of that signal, which passes signals for other addresses to the
/// former handler.
class BusGuard {
public:
    /// `path`: for the message. Throws std::bad_alloc. Any thread.
    BusGuard(std::span<const unsigned char> bytes, const std::string& path);
    BusGuard(const BusGuard&) = delete;
    BusGuard& operator=(const BusGuard&) = delete;
    ~BusGuard();

private:
    GuardedRange* range;
};

}  // namespace qel_minimap2
