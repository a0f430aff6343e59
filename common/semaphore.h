#pragma once

#include <chrono>

#include <semaphore.h>

namespace Common {

/// A counting semaphore on the C library's: in the hand-over of jobs it takes half the system calls of a
/// mutex with a condition variable. (The standard library's own can sleep through a release in g++ 12, GCC
/// bug 104928.) What was written before a Release is seen after the Acquire that it ends. Any thread.
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

    /// Takes a Release if there is one.
    bool TryAcquire() noexcept;

    /// As Acquire, but gives up after `longest`; false then. Before it sleeps it offers the processor to
    /// others `yields` times.
    bool AcquireFor(std::chrono::nanoseconds longest, int yields) noexcept;

private:
    ::sem_t semaphore;
};

}  // namespace Common
