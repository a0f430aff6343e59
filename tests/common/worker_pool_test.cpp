#include "common/worker_pool.h"

#include <atomic>
#include <latch>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "common/threaded_loop.h"
#include "tests/common/texts.h"

namespace {

using Common::FastQRecord;
using Common::RecordJob;
using Common::WorkerPool;
using Status = Common::Worker::Status;
using Indices = std::vector<std::size_t>;

const FastQRecord kRecord("@r", "A", "I");

// A container of `size` records titled with their index; throws instead of giving record `fails_at`.
struct Records {
    struct Iterator {
        Records* records;
        int index;
        FastQRecord& operator*() const { return records->current; }
        Iterator& operator++() {
            records->Load(++index);
            return *this;
        }
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.index == b.index; }
    };

    void Load(int index) {
        if (index == fails_at) {
            throw std::runtime_error("bad record");
        }
        current = FastQRecord("@" + std::to_string(index), "", "");
    }
    Iterator begin() {
        Load(0);
        return {this, 0};
    }
    Iterator end() { return {this, size}; }

    int size;
    int fails_at = -1;
    FastQRecord current = {};
};

TEST(WorkerPool, ReportsHowEachJobEnded) {
    WorkerPool pool(4);
    std::latch release(1);
    EXPECT_EQ(pool.Submit([](FastQRecord& record) { return static_cast<int>(record.GetTitle().size()); }, 0, kRecord),
              0);
    EXPECT_EQ(pool.Submit([](FastQRecord&) -> int { throw std::runtime_error("broken"); }, 1, kRecord), 1);
    EXPECT_EQ(pool.Submit(
                  [&](FastQRecord&) {
                      release.wait();
                      return 0;
                  },
                  2, kRecord),
              2);
    while (pool.At(0).status == Status::working || pool.At(1).status == Status::working) {
        pool.WaitForFinishedJob(std::chrono::milliseconds(1));
        pool.Refresh();
    }
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

TEST(WorkerPool, AJobThatEndsEndsTheWait) {
    WorkerPool pool(1);
    pool.Submit([](FastQRecord&) { return 1; }, 0, kRecord);
    const auto start = std::chrono::steady_clock::now();
    pool.WaitForFinishedJob(std::chrono::minutes(1));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(ThreadedLoop, OneWorkerKeepsTheOrderAndManyLoseNothing) {
    for (const int threads : {1, 2, 8}) {
        Records records{.size = 500};
        std::mutex mutex;
        std::vector<int> seen;
        std::atomic<int> running = 0;
        std::atomic<int> most = 0;
        const RecordJob job = [&](FastQRecord& record) {
            const int now = ++running;
            for (int m = most; now > m && !most.compare_exchange_weak(m, now);) {
            }
            {
                const std::lock_guard lock(mutex);
                seen.push_back(std::stoi(record.GetTitle().substr(1)));
            }
            --running;
            return 0;
        };
        Common::ThreadedLoop<Records>(&records, &job, threads).Run(true);
        EXPECT_LE(most, threads);
        EXPECT_EQ(seen.size(), 500U);
        if (threads > 1) {
            std::sort(seen.begin(), seen.end());
        }
        for (int i = 0; i < 500; ++i) {
            EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
        }
    }
}

TEST(ThreadedLoop, AFailingReadOfTheInputWaitsForTheSubmittedJobs) {
    Records records{.size = 10, .fails_at = 6};
    std::atomic<int> done = 0;
    const RecordJob job = [&](FastQRecord&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return ++done;
    };
    EXPECT_THROW(Common::ThreadedLoop<Records>(&records, &job, 4).Run(true), std::runtime_error);
    EXPECT_EQ(done, 6);
}

TEST(ThreadedLoop, WithoutWorkersTheFirstJobIsRefused) {
    for (const int threads : {0, -3}) {
        Records records{.size = 2};
        const RecordJob job = [](FastQRecord&) { return 0; };
        EXPECT_EQ(Tests::ErrorOf([&] { Common::ThreadedLoop<Records>(&records, &job, threads).Run(true); }),
                  "Could not submit job 0");
    }
}

}  // namespace
