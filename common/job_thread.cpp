#include "common/job_thread.h"

#include <system_error>
#include <utility>

namespace Common {

JobThread::JobThread(std::function<void()> on_finished) : on_finished(std::move(on_finished)) {}

JobThread::~JobThread() {
    if (!thread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_one();
    thread.join();
}

std::future<int> JobThread::Start(std::packaged_task<int()> job) {
    auto result = job.get_future();
    if (!EnsureThread()) {
        job();
        on_finished();
        return result;
    }
    {
        const std::lock_guard lock(mutex);
        next = std::move(job);
    }
    changed.notify_one();
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
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return next.has_value() || stopping; });
        if (!next) {
            return;
        }
        {
            auto job = std::move(*next);
            next.reset();
            lock.unlock();
            job();
        }
        on_finished();
        lock.lock();
    }
}

}  // namespace Common
