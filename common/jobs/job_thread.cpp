#include "common/jobs/job_thread.h"

#include <system_error>
#include <utility>

namespace Common {

JobThread::JobThread(std::function<PackagedJob()> on_finished) : on_finished(std::move(on_finished)) {}

JobThread::~JobThread() {
    if (!thread.joinable()) {
        return;
    }
    given.Release();
    thread.join();
}

void JobThread::Start(PackagedJob job) {
    if (!EnsureThread()) {
        RunWithFollowers(std::move(job));
        return;
    }
    next = std::move(job);
    given.Release();
}

bool JobThread::EnsureThread() {
    if (!thread.joinable()) {
        try {
            thread = std::thread(&JobThread::RunJobs, this);
        } catch (const std::system_error&) {
            return false;  // Out of threads: slower, but no read is lost. The next job tries again.
        }
    }
    return true;
}

void JobThread::RunJobs() {
    while (true) {
        given.Acquire();
        if (!next.valid()) {
            return;
        }
        RunWithFollowers(std::move(next));
    }
}

void JobThread::RunWithFollowers(PackagedJob job) {
    while (job.valid()) {
        job();
        job = {};  // What the job holds is free before its end is told.
        job = on_finished();
    }
}

}  // namespace Common
