#include "common/worker_pool.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace Common {

WorkerPool::WorkerPool(int thread_count) {
    for (int i = 0; i < thread_count; ++i) {
        workers.push_back(std::make_unique<Worker>([this] { job_finished.Release(); }));
    }
    RebuildLists();
}

WorkerPool::~WorkerPool() {
    // The threads end before the members that their last job notifies.
    workers.clear();
}

int WorkerPool::Submit(const RecordJob& job, std::uint64_t job_number, const FastQRecord& record) {
    if (idle.empty()) {
        return -1;
    }
    const auto index = idle.front();
    auto& worker = *workers[index];
    worker.pending =
        worker.thread.Start(std::packaged_task<int()>([job, own = record]() mutable { return job(own); }));
    worker.status = Worker::Status::working;
    worker.job_number = job_number;
    idle.erase(idle.begin());
    return static_cast<int>(index);
}

void WorkerPool::Refresh() {
    for (auto& worker : workers) {
        if (worker->pending.valid()) {
            RefreshWorker(*worker);
        }
    }
    RebuildLists();
}

void WorkerPool::RefreshWorker(Worker& worker) {
    worker.result = 0;
    // Only a time-out means "not ready": a deferred result would never become ready by itself and is taken.
    if (worker.pending.wait_for(std::chrono::seconds(0)) == std::future_status::timeout) {
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
    job_finished.AcquireFor(longest);
}

void WorkerPool::WaitForAll() {
    for (auto& worker : workers) {
        if (worker->pending.valid()) {
            worker->pending.wait();
        }
    }
    Refresh();
}

void WorkerPool::Reset(std::size_t index) {
    auto& worker = *workers.at(index);
    if (worker.status == Worker::Status::working) {
        throw std::runtime_error("Cannot reset a worker that is still working.");
    }
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
