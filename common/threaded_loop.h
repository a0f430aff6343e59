#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "common/logging/record.h"
#include "common/worker_pool.h"

namespace Common {

/// Runs a job for each record of a container on a pool of workers. `Container` has begin() and end(). Dereferencing its
/// iterator returns a FastQRecord that is valid until the next increment.
template <typename Container>
class ThreadedLoop {
public:
    /// Container and job are borrowed and must outlive Run. `attempts`: how many times the loop tries to submit a job.
    ThreadedLoop(Container* container, const RecordJob* job, int thread_count, int attempts)
        : container(container), job(job), thread_count(thread_count), attempts(attempts) {}

    /// Reads on the calling thread and starts one job per record, in the container's order. At most one job per worker
    /// is in progress, and at most one more record is in memory. With `wait`, waits for the last jobs and collects
    /// their results. Throws std::runtime_error "Could not submit job <0-based number>" if the pool accepts no job, for
    /// example with a thread count of 0 or below. Exceptions from reading and from WorkerPool::Refresh pass through.
    /// All submitted jobs have ended when Run returns or throws.
    void Run(bool wait) {
        WorkerPool pool(thread_count);
        auto record = container->begin();
        const auto end = container->end();
        for (std::uint64_t number = 0; !(record == end); ++number, ++record) {
            Submit(pool, number, record);
        }
        if (wait) {
            TAVIK_LOG(verbose) << "Submitted all jobs, now waiting for them to finish";
            pool.WaitForAll();
        }
    }

private:
    /// While the loop waits for a worker, it checks the workers when a job ends, or after this time if no job ends.
    static constexpr std::chrono::milliseconds kRefreshInterval{1};

    template <typename Iterator>
    void Submit(WorkerPool& pool, std::uint64_t number, const Iterator& record) const {
        // A staged job may log before this loop logs that the worker is free and that the job is submitted. If verbose
        // records are kept, their order matters more than the microseconds that staging saves.
        if (pool.Idle().empty() && !logging::Accepts(logging::Severity::verbose)) {
            pool.Stage(*job, *record);
        }
        WaitForIdleWorker(pool);
        for (int attempt = 0; attempt < attempts; ++attempt) {
            TAVIK_LOG(verbose) << "Submitting job " << number;
            if (pool.Submit(*job, number, *record) >= 0) {
                return;
            }
        }
        throw std::runtime_error("Could not submit job " + std::to_string(number));
    }

    static void WaitForIdleWorker(WorkerPool& pool) {
        for (std::size_t waits = 0; MustWait(pool, waits); ++waits) {
            pool.WaitForFinishedJob(kRefreshInterval);
            pool.Refresh();
            for (const auto* const reusable : {&pool.Finished(), &pool.Failed()}) {
                while (!reusable->empty()) {
                    const auto index = reusable->front();
                    TAVIK_LOG(verbose) << "Worker " << index << " is finished and can be re-used";
                    pool.Reset(index);
                }
            }
        }
    }

    /// True while the loop should wait for one of the used workers. The first 64 workers start without waiting. Each
    /// further worker starts only after all used workers have been busy for a number of waits that rises by one for
    /// every 16 workers. Without these waits, a huge thread count would start a thread for nearly every read of a file,
    /// which would take memory and gain no speed.
    static bool MustWait(const WorkerPool& pool, std::size_t waits) {
        constexpr std::size_t kFreelyUsed = 64;
        constexpr std::size_t kWorkersPerWait = 16;
        if (pool.Idle().empty()) {
            return pool.Size() > 0;
        }
        const auto used = pool.Used();
        return pool.Idle().front() == used && used >= kFreelyUsed && waits <= (used - kFreelyUsed) / kWorkersPerWait;
    }

    Container* container;
    const RecordJob* job;
    int thread_count;
    int attempts;
};

}  // namespace Common
