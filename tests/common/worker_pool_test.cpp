#include "common/worker_pool.h"

#include <algorithm>
#include <atomic>
#include <latch>
#include <mutex>
#include <ranges>
#include <stdexcept>

#include <gtest/gtest.h>

#include "common/threaded_loop.h"
#include "tests/common/texts.h"

namespace {

using Common::FastQRecord;
using Common::RecordJob;
using Common::ThreadedLoop;
using Common::WorkerPool;
using Status = Common::Worker::Status;
using Indices = std::vector<std::size_t>;

const FastQRecord kRecord("@r", "A", "I");

// `size` records titled with their index, one after the other in `current`; reading record `fails_at` throws.
auto Records(int size, FastQRecord& current, int fails_at = -1) {
    return std::views::iota(0, size) | std::views::transform([&current, fails_at](int index) -> FastQRecord& {
               if (index == fails_at) {
                   throw std::runtime_error("bad record");
               }
               return current = FastQRecord("@" + std::to_string(index), "", "");
           });
}

TEST(WorkerPool, ReportsHowEachJobEnded) {
    WorkerPool pool(4);
    std::latch release(1);
    const RecordJob jobs[] = {
        [](FastQRecord& record) { return static_cast<int>(record.GetTitle().size()); },
        [](FastQRecord&) -> int { throw std::runtime_error("broken"); },
        [&](FastQRecord&) { return release.wait(), 0; },
    };
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pool.Submit(jobs[i], static_cast<unsigned>(i), kRecord), i);
    }
    const auto start = std::chrono::steady_clock::now();
    while (pool.At(0).status == Status::working || pool.At(1).status == Status::working) {
        pool.WaitForFinishedJob(std::chrono::minutes(1));
        pool.Refresh();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30)) << "a job's end ends the wait";
    EXPECT_EQ(pool.Finished(), Indices{0});
    EXPECT_EQ(pool.At(0).result, 2);
    EXPECT_EQ(pool.Failed(), Indices{1});
    EXPECT_EQ(pool.At(1).error_text, "broken");
    EXPECT_EQ(pool.Idle(), Indices{3});
    EXPECT_THROW(pool.Reset(2), std::runtime_error);
    pool.Reset(0);
    EXPECT_EQ(pool.Idle(), (Indices{0, 3}));
    release.count_down();
    pool.WaitForAll();
    EXPECT_EQ(pool.Finished(), Indices{2});
}

TEST(WorkerPool, AnotherExceptionLeavesTheRefresh) {
    WorkerPool pool(1);
    pool.Submit([](FastQRecord&) -> int { throw 5; }, 0, kRecord);
    EXPECT_THROW(pool.WaitForAll(), int);
}

TEST(ThreadedLoop, OneWorkerKeepsTheOrderAndManyLoseNothing) {
    for (const int threads : {1, 2, 8}) {
        FastQRecord current;
        auto records = Records(500, current);
        std::mutex mutex;
        std::vector<int> seen;
        std::atomic<int> running = 0;
        const RecordJob job = [&](FastQRecord& record) {
            EXPECT_LE(++running, threads);
            const std::lock_guard lock(mutex);
            seen.push_back(std::stoi(record.GetTitle().substr(1)));
            return --running;
        };
        ThreadedLoop(&records, &job, threads).Run(true);
        if (threads > 1) {
            std::ranges::sort(seen);
        }
        EXPECT_TRUE(std::ranges::equal(seen, std::views::iota(0, 500))) << testing::PrintToString(seen);
    }
}

TEST(ThreadedLoop, AFailingReadOfTheInputWaitsForTheSubmittedJobs) {
    FastQRecord current;
    auto records = Records(10, current, 6);
    std::atomic<int> done = 0;
    const RecordJob job = [&](FastQRecord&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return ++done;
    };
    EXPECT_EQ(Tests::ErrorOf([&] { ThreadedLoop(&records, &job, 4).Run(true); }), "bad record");
    EXPECT_EQ(done, 6);
}

}  // namespace
