// Measures the overhead per read: a log call whose severity is not accepted, and passing a job to a worker.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include "common/fastq_record.h"
#include "common/logger.h"
#include "common/threaded_loop.h"
#include "common/worker_pool.h"

namespace {

void RejectedLogCall(benchmark::State& state) {
    if (Common::logging::Accepts(Common::logging::Severity::verbose)) {
        state.SkipWithError("verbose records are accepted");
    }
    std::int64_t calls = 0;
    for ([[maybe_unused]] auto _ : state) {
        TAVIK_LOG(verbose) << "Done with read " << calls;
        benchmark::DoNotOptimize(++calls);
    }
}
BENCHMARK(RejectedLogCall);

// One job at a time, from Submit until its worker is idle again.
void EmptyJob(benchmark::State& state) {
    const Common::FastQRecord record("@read", "ACGT", "IIII");
    const Common::RecordJob job = [](Common::FastQRecord&) { return 1; };
    Common::WorkerPool pool(static_cast<int>(state.range(0)));
    std::uint64_t number = 0;
    for ([[maybe_unused]] auto _ : state) {
        pool.Submit(job, number++, record);
        while (pool.Finished().empty()) {
            pool.WaitForFinishedJob(std::chrono::milliseconds(1));
            pool.Refresh();
        }
        pool.Reset(pool.Finished().front());
    }
}
// Wall time, because the thread that owns the pool sleeps for part of it.
BENCHMARK(EmptyJob)->ArgName("workers")->Arg(1)->Arg(2)->UseRealTime();

// Repeats one record `count` times.
struct Records {
    struct Iterator {
        Common::FastQRecord* record;
        int index;
        Common::FastQRecord& operator*() const { return *record; }
        Iterator& operator++() { return ++index, *this; }
        bool operator==(const Iterator& other) const { return index == other.index; }
    };
    Iterator begin() { return {&record, 0}; }
    Iterator end() { return {&record, count}; }

    Common::FastQRecord record;
    int count;
};

// Jobs per second when a loop starts a job for each of `kJobs` reads and each job takes `us` microseconds. The
// processor time shown is that of the thread that owns the pool, so it is the cost of handing over the reads.
void LoopOfJobs(benchmark::State& state) {
    constexpr int kJobs = 5000;
    const auto bases = static_cast<std::size_t>(state.range(2));
    Records records{{"@read", std::string(bases, 'A'), std::string(bases, 'I')}, kJobs};
    const Common::RecordJob job = [&](Common::FastQRecord&) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(state.range(1));
        while (std::chrono::steady_clock::now() < end) {
        }
        return 1;
    };
    for ([[maybe_unused]] auto _ : state) {
        Common::ThreadedLoop(&records, &job, static_cast<int>(state.range(0)), 10).Run(true);
    }
    state.SetItemsProcessed(state.iterations() * kJobs);
}
BENCHMARK(LoopOfJobs)
    ->ArgNames({"workers", "us", "bases"})
    ->ArgsProduct({{1, 2, 4, 8}, {0, 20}, {4}})
    ->ArgsProduct({{8}, {20}, {300, 8000}})
    ->UseRealTime();

}  // namespace
