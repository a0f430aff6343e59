#include "common/worker_pool.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

namespace Common {

namespace {

// Waking a sleeping processor costs as much as mapping a short read. Where there are more processors than
// workers the owner watches for the end of a job for a few dozen microseconds before it sleeps; where there
// are not, it would take that time from a worker.
int YieldsBeforeSleep(int thread_count) {
    const auto processors = static_cast<int>(std::thread::hardware_concurrency());
    return thread_count < processors ? 200 : 3;
}

}  // namespace

WorkerPool::WorkerPool(int thread_count)
    : yields(YieldsBeforeSleep(thread_count)), jobs_ended(static_cast<std::size_t>(std::max(thread_count, 0))) {
    for (int i = 0; i < thread_count; ++i) {
        workers.push_back(std::make_unique<Worker>([this, i] { return JobFinished(i); }));
    }
    RebuildLists();
}

WorkerPool::~WorkerPool() {
    // A job that was not submitted is not run. The threads end before the members that they notify.
    staged.Withdraw();
    workers.clear();
}

int WorkerPool::Submit(const RecordJob& job, std::uint64_t job_number, const FastQRecord& record) {
    if (!ReadyToSubmit()) {
        return -1;
    }
    const int taken_by = staged.TakenBy();
    const auto index = taken_by != StagedJob::kNobody ? static_cast<std::size_t>(taken_by) : idle.front();
    auto& worker = *workers[index];
    if (taken_by != StagedJob::kNobody) {
        worker.pending = std::move(staged_result);
        staged.Clear();
    } else if (withdrawn.valid()) {
        worker.pending = std::move(staged_result);
        worker.thread.Start(std::move(withdrawn));
    } else {
        auto packaged = Package(job, record);
        worker.pending = packaged.get_future();
        worker.thread.Start(std::move(packaged));
    }
    worker.status = Worker::Status::working;
    worker.job_number = job_number;
    ++worker.jobs_given;
    idle.erase(std::find(idle.begin(), idle.end(), index));
    return static_cast<int>(index);
}

void WorkerPool::Stage(const RecordJob& job, const FastQRecord& record) {
    auto packaged = Package(job, record);
    staged_result = packaged.get_future();
    staged.Put(std::move(packaged));
}

bool WorkerPool::ReadyToSubmit() {
    if (idle.empty()) {
        return false;
    }
    if (auto untaken = staged.Withdraw(); untaken.valid()) {
        withdrawn = std::move(untaken);
    }
    const int taken_by = staged.TakenBy();
    return taken_by == StagedJob::kNobody ||
           workers[static_cast<std::size_t>(taken_by)]->status == Worker::Status::idle;
}

PackagedJob WorkerPool::Package(const RecordJob& job, const FastQRecord& record) {
    return PackagedJob([job, own = record]() mutable { return job(own); });
}

PackagedJob WorkerPool::JobFinished(int worker) {
    auto next = staged.Take(worker);
    jobs_ended[static_cast<std::size_t>(worker)].fetch_add(1, std::memory_order_release);
    job_finished.Release();
    return next;
}

void WorkerPool::Refresh() {
    for (std::size_t index = 0; index < workers.size(); ++index) {
        if (workers[index]->pending.valid()) {
            RefreshWorker(index);
        }
    }
    RebuildLists();
}

bool WorkerPool::HasEnded(std::size_t index) const {
    const auto& worker = *workers[index];
    // Only a time-out means "not ready": a deferred result would never become ready by itself and is taken.
    return worker.pending.wait_for(std::chrono::seconds(0)) != std::future_status::timeout &&
           jobs_ended[index].load(std::memory_order_acquire) >= worker.jobs_given;
}

void WorkerPool::RefreshWorker(std::size_t index) {
    auto& worker = *workers[index];
    worker.result = 0;
    if (!HasEnded(index)) {
        worker.status = Worker::Status::working;
        return;
    }
    try {
        worker.result = worker.pending.get();
        worker.status = Worker::Status::finished;
        worker.error_text.clear();
    } catch (const std::exception& error) {
        worker.status = Worker::Status::failed;
        worker.error_text = error.what();
    }
}

void WorkerPool::WaitForFinishedJob(std::chrono::milliseconds longest) {
    // The news of jobs that were found finished without waiting for them is still there: it is passed over.
    do {
        if (!job_finished.AcquireFor(longest, yields)) {
            return;
        }
    } while (--stale_news >= 0);
}

void WorkerPool::WaitForAll() {
    for (std::size_t index = 0; index < workers.size(); ++index) {
        if (workers[index]->pending.valid()) {
            workers[index]->pending.wait();
            while (!HasEnded(index)) {
                std::this_thread::yield();  // For the few instructions until the worker says so.
            }
        }
    }
    Refresh();
}

void WorkerPool::Reset(std::size_t index) {
    auto& worker = *workers.at(index);
    if (worker.status == Worker::Status::working) {
        throw std::runtime_error("Cannot reset a worker that is still working.");
    }
    stale_news += worker.status == Worker::Status::idle ? 0 : 1;
    worker.pending = {};
    worker.status = Worker::Status::idle;
    RebuildLists();
}

void WorkerPool::RebuildLists() {
    idle.clear();
    finished.clear();
    failed.clear();
    for (std::size_t i = 0; i < workers.size(); ++i) {
        switch (workers[i]->status) {
            case Worker::Status::idle:
                idle.push_back(i);
                break;
            case Worker::Status::working:
                break;
            case Worker::Status::finished:
                finished.push_back(i);
                break;
            case Worker::Status::failed:
                failed.push_back(i);
                break;
        }
    }
}

}  // namespace Common
