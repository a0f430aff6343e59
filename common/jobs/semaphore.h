#pragma once

#include <chrono>

#include <semaphore.h>

namespace Common {

/// A counting semaphore on the C library's: in the hand-over of jobs it takes half the system calls of a
/// mutex with a condition variable. (The standard library's own can sleep through a release in g++ 12, GCC
/// bug 104928.) What was written before a Release is seen after the Acquire that it ends. One
/// thread acquires, any release.
class Semaphore {
public:
    Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    ~Semaphore();

    /// Lets one Acquire pass. Never blocks.
    void Release() noexcept;

    /// Blocks until there is a Release to take.
    void Acquire() noexcept;

    /// As Acquire, but gives up after `longest`; false then. Before it sleeps it offers the processor to
    /// others `yields` times.
    bool AcquireFor(std::chrono::nanoseconds longest, int yields) noexcept;

private:
    bool AcquireByYielding(int yields) noexcept;

    ::sem_t semaphore;
    // The acquiring thread's: how many waits to come do not yield, and how many will not after the next long yield.
    static constexpr int kFewestWaits = 32;
    int waits_without_yield = 0;
    int rest = kFewestWaits;
};

}  // namespace Common
