#pragma once

#include <atomic>
#include <utility>

#include "common/jobs/job_thread.h"

namespace Common {

/// A place for one job that any of several threads may take while its owner has not withdrawn it.
///
/// Waking the owner takes longer than mapping a short read. A worker that finds its next job here goes on
/// without that wait, and the owner catches up with its books meanwhile.
class StagedJob {
public:
    static constexpr int kNobody = -1;

    /// Owner: puts a job here. There must be none.
    void Put(PackagedJob new_job) {
        job = std::move(new_job);
        state.store(kOpen, std::memory_order_release);
    }

    /// A worker: takes the job; none when there is none.
    PackagedJob Take(int worker) {
        int expected = kOpen;
        if (!state.compare_exchange_strong(expected, kTaking, std::memory_order_acquire)) {
            return {};
        }
        PackagedJob taken = std::move(job);
        state.store(worker, std::memory_order_release);
        return taken;
    }

    /// Owner: takes the job back; none when a worker has it.
    PackagedJob Withdraw() {
        int expected = kOpen;
        if (!state.compare_exchange_strong(expected, kEmpty, std::memory_order_acquire)) {
            return {};
        }
        return std::move(job);
    }

    /// Owner: the 0-based worker that has taken the job, or kNobody.
    int TakenBy() const {
        int seen = state.load(std::memory_order_acquire);
        while (seen == kTaking) {  // For the few instructions that a move takes.
            seen = state.load(std::memory_order_acquire);
        }
        return seen >= 0 ? seen : kNobody;
    }

    /// Owner: forgets that a job was taken.
    void Clear() { state.store(kEmpty, std::memory_order_relaxed); }

private:
    static constexpr int kEmpty = -4;
    static constexpr int kOpen = -3;
    static constexpr int kTaking = -2;

    std::atomic<int> state = kEmpty;  // A worker's index once taken.
    PackagedJob job;                  // Belongs to the owner when empty, to the taker while taking.
};

}  // namespace Common
