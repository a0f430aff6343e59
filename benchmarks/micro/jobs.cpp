// What the engine around the reads costs: a log call that goes nowhere, and handing a job to a worker.

#include <chrono>
#include <cstdint>

#include <benchmark/benchmark.h>

#include "common/fastq_record.h"
#include "common/logger.h"
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

// One job at a time: from Submit until its worker is idle again.
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
// The time on the clock: the owner sleeps through part of it.
BENCHMARK(EmptyJob)->ArgName("workers")->Arg(1)->Arg(2)->UseRealTime();

}  // namespace
