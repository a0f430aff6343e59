#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "common/logger.h"
#include "common/worker_pool.h"

namespace Common {

/// Runs a job for each record of a container on a pool of workers. `Container` offers begin() and end();
/// dereferencing its iterator gives a FastQRecord that is valid until the next increment.
template <typename Container>
class ThreadedLoop {
public:
    /// Container and job are borrowed and must outlive Run. `attempts`: how often a job is offered to the
    /// pool before the loop gives up.
    ThreadedLoop(Container* container, const RecordJob* job, int thread_count, int attempts = 10)
        : container(container), job(job), thread_count(thread_count), attempts(attempts) {}

    /// Reads on the calling thread and starts one job per record, in the container's order; at most one job
    /// per worker is on its way and at most one more record in memory. With `wait` it also waits for the last
    /// jobs. Throws std::runtime_error "Could not submit job <0-based number>" when the pool takes no job, as
    /// it does with a thread count of 0 or below; what reading throws passes through. Either way the jobs
    /// that were submitted have ended when the call does.
    void Run(bool wait) {
        WorkerPool pool(thread_count);
        auto record = container->begin();
        const auto end = container->end();
        for (std::uint64_t number = 0; !(record == end); ++number, ++record) {
            WaitForIdleWorker(pool, record);
            Submit(pool, number, record);
        }
        if (wait) {
            TAVIK_LOG(verbose) << "Submitted all jobs, now waiting for them to finish";
            pool.WaitForAll();
        }
    }

private:
    /// The longest time between two looks at the workers; a job that ends cuts it short.
    static constexpr std::chrono::milliseconds kRefreshInterval{1};

    template <typename Iterator>
    void WaitForIdleWorker(WorkerPool& pool, const Iterator& record) const {
        // Whoever follows the hand-over in the log sees each job submitted before it runs.
        if (pool.Idle().empty() && pool.Size() > 0 && !logging::Accepts(logging::Severity::verbose)) {
            pool.Stage(*job, *record);
        }
        while (!pool.ReadyToSubmit() && pool.Size() > 0) {
            pool.WaitForFinishedJob(kRefreshInterval);
            pool.Refresh();
            auto reusable = pool.Finished();
            reusable.insert(reusable.end(), pool.Failed().begin(), pool.Failed().end());
            for (const auto index : reusable) {
                TAVIK_LOG(verbose) << "Worker " << index << " is finished and can be re-used";
                pool.Reset(index);
            }
        }
    }

    template <typename Iterator>
    void Submit(WorkerPool& pool, std::uint64_t number, const Iterator& record) const {
        for (int attempt = 0; attempt < attempts; ++attempt) {
            TAVIK_LOG(verbose) << "Submitting job " << number;
            if (pool.Submit(*job, number, *record) >= 0) {
                return;
            }
        }
        throw std::runtime_error("Could not submit job " + std::to_string(number));
    }

    Container* container;
    const RecordJob* job;
    int thread_count;
    int attempts;
};

}  // namespace Common
