#include "common/job_thread.h"

#include <system_error>
#include <utility>

namespace Common {

JobThread::JobThread(std::function<void()> on_finished) : on_finished(std::move(on_finished)) {}

JobThread::~JobThread() {
    if (!thread.joinable()) {
        return;
    }
    given.Release();
    thread.join();
}

std::future<int> JobThread::Start(std::packaged_task<int()> job) {
    auto result = job.get_future();
    if (!EnsureThread()) {
        job();
        on_finished();
        return result;
    }
    next = std::move(job);
    given.Release();
    return result;
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
        if (!next) {
            return;
        }
        // The job is destroyed before its end is told: what it holds is free by then.
        std::exchange(next, std::nullopt).value()();
        on_finished();
    }
}

}  // namespace Common
