#pragma once

#include <functional>
#include <future>
#include <thread>

#include "common/jobs/semaphore.h"

namespace Common {

/// A job that delivers its result, or what it threw, through a future; none when not valid().
using PackagedJob = std::packaged_task<int()>;

/// A thread that runs one job after another, so that no thread is made per job. It is started by the first
/// job; where the system grants no thread, jobs run inside Start. One thread at a time calls Start.
class JobThread {
public:
    /// `on_finished` is called on the thread after each job, when the job's future is ready, and may return a
    /// further job to go on with (none: an invalid one); it must not throw.
    explicit JobThread(std::function<PackagedJob()> on_finished);
    JobThread(const JobThread&) = delete;
    JobThread& operator=(const JobThread&) = delete;
    /// Waits for the job that is running.
    ~JobThread();

    /// Runs `job`. The job started before must have finished.
    void Start(PackagedJob job);

private:
    bool EnsureThread();
    void RunJobs();
    void RunWithFollowers(PackagedJob job);

    const std::function<PackagedJob()> on_finished;
    Semaphore given;   // Released for each job, and for the end.
    PackagedJob next;  // Handed over by `given`; none means the end.
    std::thread thread;
};

}  // namespace Common
