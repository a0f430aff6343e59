#include "common/semaphore.h"

#include <cerrno>
#include <ctime>

#include <sched.h>

namespace Common {

namespace {

// Before sleeping the processor is offered to others this many times: on a busy machine the thread that
// releases often runs in just that moment, and neither side then needs the system to be put to sleep and
// woken.
constexpr int kYields = 3;

bool AcquireByYielding(::sem_t* semaphore, int yields) {
    for (int i = 0; i < yields; ++i) {
        if (::sem_trywait(semaphore) == 0) {
            return true;
        }
        ::sched_yield();
    }
    return false;
}

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

void Semaphore::Acquire() noexcept {
    if (AcquireByYielding(&semaphore, kYields)) {
        return;
    }
    while (::sem_wait(&semaphore) != 0) {  // Interrupted by a signal.
    }
}

bool Semaphore::TryAcquire() noexcept {
    return ::sem_trywait(&semaphore) == 0;
}

bool Semaphore::AcquireFor(std::chrono::nanoseconds longest, int yields) noexcept {
    if (AcquireByYielding(&semaphore, yields)) {
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
