#pragma once

#include <functional>
#include <future>
#include <optional>
#include <thread>

#include "common/semaphore.h"

namespace Common {

/// A thread that runs one job after another, so that no thread is made per job. It is started by the first
/// job; where the system grants no thread, jobs run inside Start. One thread at a time calls Start.
class JobThread {
public:
    /// `on_finished` is called on the thread after each job, when the job's future is ready; it must not
    /// throw.
    explicit JobThread(std::function<void()> on_finished);
    JobThread(const JobThread&) = delete;
    JobThread& operator=(const JobThread&) = delete;
    /// Waits for the job that is running.
    ~JobThread();

    /// Runs `job` and returns its future. The job started before must have finished. What the job throws is
    /// kept in the future.
    std::future<int> Start(std::packaged_task<int()> job);

private:
    bool EnsureThread();
    void RunJobs();

    const std::function<void()> on_finished;
    Semaphore given;                                // Released for each job, and for the end.
    std::optional<std::packaged_task<int()>> next;  // Handed over by `given`; empty means the end.
    std::thread thread;
};

}  // namespace Common
