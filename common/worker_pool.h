#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "common/fastq_record.h"
#include "common/jobs/job_thread.h"
#include "common/jobs/semaphore.h"
#include "common/jobs/staged_job.h"

namespace Common {

/// The work on one read. It gets a record of its own.
using RecordJob = std::function<int(FastQRecord&)>;

/// One slot of a WorkerPool: a thread and the job that it was given last.
struct Worker {
    enum class Status { idle = 0, working = 1, finished = 2, failed = 3 };

    explicit Worker(std::function<PackagedJob()> on_finished) : thread(std::move(on_finished)) {}

    std::future<int> pending;      ///< The result to come; not valid when no job is held.
    Status status = Status::idle;  ///< As of the last refresh.
    int result = 0;                ///< What the job returned, once finished.
    std::string error_text;        ///< What the last failed job's exception said; empty once one has finished.
    std::uint64_t job_number = 0;  ///< Of the job taken last.
    std::uint64_t jobs_given = 0;  ///< So far.
    JobThread thread;
};

/// A fixed number of workers, each of which runs at most one job at a time. All operations belong to the one
/// thread that owns the pool; only the jobs run elsewhere.
class WorkerPool {
public:
    /// A count of 0 or below gives a pool that can take no job.
    explicit WorkerPool(int thread_count);
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    /// Waits for the jobs that are running.
    ~WorkerPool();

    /// Starts `job` with a copy of `record` on the first idle worker. Returns the worker's 0-based index, or
    /// -1 when none is idle.
    int Submit(const RecordJob& job, std::uint64_t job_number, const FastQRecord& record);

    /// While no worker is idle: lets the first worker whose job ends go on with this one at once, ahead of
    /// the Submit for the same job that must follow once ReadyToSubmit. Never do more jobs run than there are
    /// workers.
    void Stage(const RecordJob& job, const FastQRecord& record);

    /// True when a worker is idle; if one has gone on with the staged job, that one must be, which needs a
    /// Refresh and a Reset for its job before.
    bool ReadyToSubmit();

    /// Looks at every pending result, without waiting, and rebuilds the three lists. A job that ended with a
    /// std::exception makes its worker failed; any other exception leaves this call.
    void Refresh();

    /// Blocks until a job has ended whose worker has not been reset since, at most for `longest`.
    void WaitForFinishedJob(std::chrono::milliseconds longest);

    /// Blocks until every pending result is there, then refreshes.
    void WaitForAll();

    /// Makes a finished or failed worker idle.
    /// Throws std::runtime_error "Cannot reset a worker that is still working.".
    void Reset(std::size_t index);

    /// 0-based indices of the workers in each state, ascending; workers with a running job are in none.
    const std::vector<std::size_t>& Idle() const { return idle; }
    const std::vector<std::size_t>& Finished() const { return finished; }
    const std::vector<std::size_t>& Failed() const { return failed; }
    std::size_t Size() const { return workers.size(); }
    const Worker& At(std::size_t index) const { return *workers.at(index); }

private:
    static PackagedJob Package(const RecordJob& job, const FastQRecord& record);
    PackagedJob JobFinished(int worker);
    void RefreshWorker(std::size_t index);
    bool HasEnded(std::size_t index) const;
    void RebuildLists();

    Semaphore job_finished;  // Released by each job that ends.
    int stale_news = 0;      // Releases of jobs that are reset, less the waits whose job is not.
    const int yields;        // Of the owner, before it sleeps.
    // For each worker, the jobs after which it has looked for a staged one. Only then has its job ended for the owner,
    // who would otherwise give it another while it takes the staged one: the two would run in the wrong order.
    std::vector<std::atomic<std::uint64_t>> jobs_ended;
    StagedJob staged;
    std::future<int> staged_result;  // Of the job that was staged last.
    PackagedJob withdrawn;           // The staged job, when no worker took it in time.
    std::vector<std::unique_ptr<Worker>> workers;
    std::vector<std::size_t> idle;
    std::vector<std::size_t> finished;
    std::vector<std::size_t> failed;
};

}  // namespace Common
