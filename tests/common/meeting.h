#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Tests {

/// A barrier that releases a test's jobs only in groups of `size`. If a group is not complete within 10 seconds, the
/// barrier stays open.
class Meeting {
public:
    explicit Meeting(int size) : size(size) {}

    void Attend() {
        std::unique_lock lock(mutex);
        most = std::max(most, ++inside);
        const int group_end = (entered++ / size + 1) * size;
        changed.notify_all();
        failed |= !changed.wait_for(lock, std::chrono::seconds(10), [&] { return failed || entered >= group_end; });
        --inside;
    }

    /// The largest number of jobs inside at once.
    int Most() const { return most; }
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
