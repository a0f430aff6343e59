#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/fastq_record.h"

namespace Common {

/// Processes one read. The record is the job's own copy.
using RecordJob = std::function<int(FastQRecord&)>;

/// The state of one worker as its pool's owner sees it.
struct Worker {
    enum class Status { idle = 0, working = 1, finished = 2, failed = 3 };

    Status status = Status::idle;  ///< The end of a job shows only after Refresh.
    int result = 0;                ///< Result of the latest job if it finished; 0 while a job runs and after a failure.
    std::string error_text;        ///< Message of the latest failed job; cleared when a later job finishes.
};

/// The idle workers' 0-based indices, ascending. Workers that have never had a job have the highest indices and are not
/// listed one by one, so a billion of them cost nothing.
class IdleWorkers {
public:
    explicit IdleWorkers(std::size_t worker_count) : worker_count(worker_count) {}

    bool empty() const { return size() == 0; }
    std::size_t size() const { return listed.size() + worker_count - first_unused; }
    std::size_t front() const { return (*this)[0]; }
    /// The index at a 0-based place below size().
    std::size_t operator[](std::size_t place) const {
        return place < listed.size() ? listed[place] : first_unused + place - listed.size();
    }

private:
    friend class WorkerPool;

    const std::size_t worker_count;
    std::size_t first_unused = 0;
    std::vector<std::size_t> listed;  // The idle workers' indices below `first_unused`.
};

/// A fixed number of workers, each of which runs at most one job at a time on its own thread. A worker is created for
/// its first job and costs nothing before that. Only the thread that owns the pool may call its functions.
class WorkerPool {
public:
    /// A pool with a count of 0 or below accepts no job.
    explicit WorkerPool(int thread_count);
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    /// Waits for the running jobs. Drops a staged job that has not begun.
    ~WorkerPool();

    /// Starts `job` with a copy of `record` on the first idle worker and returns the worker's 0-based index. If the
    /// system cannot start a thread, the job runs inside this call. If `job` was staged and a worker has begun it,
    /// starts nothing and returns the index of that worker. Returns -1 when no worker is idle, or when the worker that
    /// has begun the staged job has not been reset.
    int Submit(const RecordJob& job, std::uint64_t job_number, const FastQRecord& record);

    /// Offers a job before its Submit, while no worker is idle. The first worker whose job ends begins the staged job
    /// without waiting for the owner. The owner must call Submit with the same job as soon as a worker is idle. Stage
    /// has no effect if a job has ended since the last Refresh; Submit then starts the job.
    void Stage(const RecordJob& job, const FastQRecord& record);

    /// Collects all available results without waiting. The worker of each result becomes finished, or failed if its job
    /// threw a std::exception; any other exception is rethrown here.
    void Refresh();

    /// Blocks until at least one job has ended since the last Refresh, or until about `longest` has passed.
    void WaitForFinishedJob(std::chrono::milliseconds longest);

    /// Blocks until every submitted job has ended, then refreshes.
    void WaitForAll();

    /// Makes a finished or failed worker idle.
    /// Throws std::runtime_error "Cannot reset a worker that is still working.".
    void Reset(std::size_t index);

    /// 0-based indices of the workers in each state, ascending; workers with the status `working` are in no list.
    const IdleWorkers& Idle() const { return idle; }
    const std::vector<std::size_t>& Finished() const { return finished; }
    const std::vector<std::size_t>& Failed() const { return failed; }
    std::size_t Size() const { return idle.worker_count; }
    /// The number of workers that have had a job; they have the lowest indices.
    std::size_t Used() const { return slots.size(); }
    /// Throws std::out_of_range for an index of Size() or above.
    const Worker& At(std::size_t index) const;

private:
    struct Slot;

    Slot& SlotOf(std::size_t index);
    void Start(Slot& slot);
    void RunThread(Slot& slot);
    void RunJobs(Slot& slot);
    void TakeResult(Slot& slot);
    void SetStatus(Slot& slot, Worker::Status status);
    std::vector<std::size_t>* ListOf(Worker::Status status);

    std::vector<std::unique_ptr<Slot>> slots;  // One for each worker that has had a job.
    IdleWorkers idle;
    std::vector<std::size_t> finished;
    std::vector<std::size_t> failed;
    bool jobs_are_short = false;  // Whether the latest WaitForFinishedJob was short.

    // Guards the members below and some members of each Slot. Threads that poll atomic members read them without the
    // mutex.
    std::mutex mutex;
    std::condition_variable job_ended;
    std::atomic<std::size_t> unseen = 0;  // Number of jobs that have ended and whose results no Refresh has taken.
    bool staged = false;  // True while a worker may take the next two members. While false, only the owner uses them.
    RecordJob staged_job;
    FastQRecord staged_record;
    std::optional<std::size_t> taker;  // The worker that took the staged job, until the Submit of that job.
    std::atomic<bool> ending = false;
};

}  // namespace Common
