#include "common/jobs/semaphore.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include <sched.h>

namespace Common {

namespace {

using Clock = std::chrono::steady_clock;

// Before sleeping the processor is offered to others this many times: where all processors are busy with the threads of
// one pool, the one that releases often runs in just that moment, and neither side needs to be put to sleep and woken.
constexpr int kYields = 3;

// Where the processor goes to another program, or to a thread with long work to do, it does not come back for
// milliseconds. After such a yield some waits go to sleep at once, since who sleeps is let in sooner: the more of them,
// the more often it happens.
constexpr std::chrono::milliseconds kLongYield{1};
constexpr int kMostWaits = 4096;

::timespec After(std::chrono::nanoseconds duration) {
    ::timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const auto total = std::chrono::nanoseconds(now.tv_nsec) + duration;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(total);
    now.tv_sec += seconds.count();
    now.tv_nsec = (total - seconds).count();
    return now;
}

}  // namespace

Semaphore::Semaphore() {
    ::sem_init(&semaphore, 0, 0);
}

Semaphore::~Semaphore() {
    ::sem_destroy(&semaphore);
}

void Semaphore::Release() noexcept {
    ::sem_post(&semaphore);
}

bool Semaphore::AcquireByYielding(int yields) noexcept {
    if (::sem_trywait(&semaphore) == 0) {
        return true;
    }
    if (waits_without_yield > 0) {
        --waits_without_yield;
        return false;
    }
    for (auto before = Clock::now(); yields > 0; --yields) {
        ::sched_yield();
        const auto after = Clock::now();
        if (after - before > kLongYield) {
            waits_without_yield = rest;
            rest = std::min(2 * rest, kMostWaits);
            return ::sem_trywait(&semaphore) == 0;
        }
        if (::sem_trywait(&semaphore) == 0) {
            rest = std::max(rest / 2, kFewestWaits);
            return true;
        }
        before = after;
    }
    return false;
}

void Semaphore::Acquire() noexcept {
    if (AcquireByYielding(kYields)) {
        return;
    }
    while (::sem_wait(&semaphore) != 0) {  // Interrupted by a signal.
    }
}

bool Semaphore::AcquireFor(std::chrono::nanoseconds longest, int yields) noexcept {
    if (AcquireByYielding(yields)) {
        return true;
    }
    const auto deadline = After(longest);
    int result = 0;
    do {
        result = ::sem_clockwait(&semaphore, CLOCK_MONOTONIC, &deadline);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

}  // namespace Common
