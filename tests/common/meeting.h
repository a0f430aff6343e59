#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Tests {

/// A barrier that releases a test's jobs only in groups of `size`. If a group is not complete within 10 seconds, the
/// barrier opens for good.
class Meeting {
public:
    explicit Meeting(int size) : size(size) {}

    /// Returns once the caller's group is complete or the barrier is open. Any thread.
    void Attend() {
        std::unique_lock lock(mutex);
        most = std::max(most, ++inside);
        const int group_end = (entered++ / size + 1) * size;
        changed.notify_all();
        failed |= !changed.wait_for(lock, std::chrono::seconds(10), [&] { return failed || entered >= group_end; });
        --inside;
    }

    /// The largest number of jobs in Attend at once. Call this and Failed only when no job is in Attend.
    int Most() const { return most; }
    /// True if any group was not completed in time.
    bool Failed() const { return failed; }

private:
    const int size;
    int entered = 0;
    int inside = 0;
    int most = 0;
    bool failed = false;
    std::mutex mutex;
    std::condition_variable changed;
};

}  // namespace Tests
