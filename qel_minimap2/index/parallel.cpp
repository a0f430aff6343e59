#include "qel_minimap2/index/parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace qel_minimap2 {

namespace {

constexpr unsigned kMostWorkers = 1024;  // Limits the memory that workers take.
std::atomic<unsigned> limit_set = 0;

}  // namespace

unsigned WorkerLimit() {
    // The number of cores is determined once, because it may change while lists with one element per worker are in use.
    static const unsigned cores = std::max(std::thread::hardware_concurrency(), 1U);
    const unsigned limit = limit_set;
    return limit > 0 ? limit : cores;
}

void SetWorkerLimit(unsigned limit) {
    limit_set = std::min(limit, kMostWorkers);
}

void ForEach(std::size_t items, const std::function<void(std::size_t item, unsigned worker)>& work) {
    std::atomic<std::size_t> next = 0;
    std::mutex failure_mutex;
    std::exception_ptr failure;  // Guarded by failure_mutex while threads run.
    const auto run = [&](unsigned worker) {
        try {
            for (std::size_t item = next++; item < items; item = next++) {
                work(item, worker);
            }
        } catch (...) {  // ForEach throws it again.
            next = items;
            const std::lock_guard lock(failure_mutex);
            failure = failure ? failure : std::current_exception();
        }
    };
    {
        std::vector<std::jthread> helpers;
        try {
            helpers.reserve(WorkerLimit());
            for (unsigned worker = 1; worker < WorkerLimit() && worker < items; ++worker) {
                helpers.emplace_back(run, worker);
            }
        } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the threads already started do the work.
        }
        run(0);
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace qel_minimap2
