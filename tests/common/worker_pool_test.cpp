#include "common/worker_pool.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <ctime>
#include <latch>
#include <mutex>
#include <numeric>
#include <set>
#include <stdexcept>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

#include "common/logger.h"
#include "common/threaded_loop.h"
#include "tests/common/captured_log.h"
#include "tests/common/loop_log_model.h"
#include "tests/common/texts.h"

namespace {

using Common::FastQRecord;
using Common::RecordJob;
using Common::ThreadedLoop;
using Common::WorkerPool;
using Status = Common::Worker::Status;
using Indices = std::vector<std::size_t>;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

const FastQRecord kRecord("@r", "A", "I");

int NumberOf(const FastQRecord& record) {
    return std::stoi(record.GetTitle().substr(1));
}

std::vector<int> UpTo(int size) {
    std::vector<int> numbers(static_cast<std::size_t>(size));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

// Yields `size` records, titled "@0", "@1" and so on. Each record replaces the previous one in the same object.
struct Records {
    struct Iterator {
        Records* records;
        int number;
        FastQRecord& operator*() const { return records->current; }
        Iterator& operator++() { return records->Read(++number), *this; }
        bool operator==(const Iterator& other) const { return number == other.number; }
    };
    Iterator begin() { return Read(0), Iterator{this, 0}; }
    Iterator end() { return {this, size}; }
    void Read(int number) {
        before_reading(number);
        if (number == fails_at) {
            throw std::runtime_error("bad record");
        }
        current = FastQRecord("@" + std::to_string(number), "", "");
    }

    int size;
    int fails_at = -1;
    std::function<void(int)> before_reading = [](int) {};
    FastQRecord current = {};
};

// Ends a test that hangs.
class Jobs : public testing::Test {
protected:
    Jobs() { ::alarm(60); }
    ~Jobs() override { ::alarm(0); }

    // Runs `job` for each record and returns the records' numbers in the order in which their jobs began.
    std::vector<int> RunLoop(Records records, int threads, const RecordJob& job) {
        std::vector<int> begun;
        std::mutex mutex;
        const RecordJob whole_job = [&](FastQRecord& record) {
            {
                const std::lock_guard lock(mutex);
                begun.push_back(NumberOf(record));
            }
            return job(record);
        };
        ThreadedLoop(&records, &whole_job, threads, 10).Run(true);
        return begun;
    }
};

using WorkerPoolJobs = Jobs;
using ThreadedLoopJobs = Jobs;

TEST_F(WorkerPoolJobs, ReportsHowEachJobEnded) {
    WorkerPool pool(4);
    std::latch release(1);
    const RecordJob jobs[] = {
        [](FastQRecord& record) { return static_cast<int>(record.GetTitle().size()); },
        [](FastQRecord&) -> int { throw std::runtime_error("broken"); },
        [&](FastQRecord&) { return release.wait(), 7; },
    };
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pool.Submit(jobs[i], static_cast<unsigned>(i), kRecord), i);
    }
    const auto start = Clock::now();
    while (pool.At(0).status == Status::working || pool.At(1).status == Status::working) {
        pool.WaitForFinishedJob(std::chrono::minutes(1));
        pool.Refresh();
    }
    EXPECT_LT(Clock::now() - start, seconds(30)) << "the wait did not end with the job";
    pool.WaitForFinishedJob(milliseconds(1));
    EXPECT_EQ(pool.Finished(), Indices{0});
    EXPECT_EQ(pool.At(0).result, 2);
    EXPECT_EQ(pool.Failed(), Indices{1});
    EXPECT_EQ(pool.At(1).error_text, "broken");
    ASSERT_EQ(pool.Idle().size(), 1U);
    EXPECT_EQ(pool.Idle().front(), 3U);
    EXPECT_EQ(Tests::ErrorOf([&] { pool.Reset(2); }), "Cannot reset a worker that is still working.");
    pool.Reset(1);
    pool.Reset(0);
    ASSERT_EQ(pool.Idle().size(), 3U);
    EXPECT_EQ((Indices{pool.Idle()[0], pool.Idle()[1], pool.Idle()[2]}), (Indices{0, 1, 3}));
    EXPECT_EQ(pool.Submit(jobs[1], 3, kRecord), 0);
    EXPECT_EQ(pool.Submit(jobs[0], 4, kRecord), 1);
    release.count_down();
    pool.WaitForAll();
    EXPECT_EQ(pool.Finished(), (Indices{1, 2}));
    EXPECT_EQ(pool.At(1).result, 2);
    EXPECT_EQ(pool.At(1).error_text, "");
    EXPECT_EQ(pool.At(2).result, 7);
    EXPECT_EQ(pool.Failed(), Indices{0});
    EXPECT_EQ(pool.At(0).result, 0);
}

TEST_F(WorkerPoolJobs, TheFirstWorkerToFinishRunsTheStagedJob) {
    std::latch ends[] = {std::latch(1), std::latch(1), std::latch(1)};
    std::atomic<int> runs = 0;
    std::latch begun(1);
    FastQRecord record("@2", "", "");
    const auto waits_for = [](std::latch& end, int result) {
        return [&end, result](FastQRecord&) { return end.wait(), result; };
    };
    const RecordJob sleeps = [](FastQRecord&) { return std::this_thread::sleep_for(milliseconds(250)), 0; };
    const RecordJob next = [&](FastQRecord& own) {
        ++runs;
        if (runs == 1) {
            begun.count_down();
        }
        ends[2].wait();
        return NumberOf(own) * 100;
    };
    {
        WorkerPool pool(2);
        EXPECT_EQ(pool.Submit(waits_for(ends[0], 10), 0, kRecord), 0);
        EXPECT_EQ(pool.Submit(waits_for(ends[1], 11), 1, kRecord), 1);
        EXPECT_EQ(pool.Submit(next, 2, record), -1) << "no worker is idle";
        pool.Stage(next, record);
        record = FastQRecord("@9", "", "");
        pool.Refresh();
        EXPECT_TRUE(pool.Idle().empty());
        const auto start = Clock::now();
        const std::jthread later([&] {
            std::this_thread::sleep_for(milliseconds(20));
            ends[1].count_down();
        });
        pool.WaitForFinishedJob(seconds(20));
        EXPECT_LT(Clock::now() - start, seconds(10))
            << "the wait did not end when a job ended and its worker began the staged job";
        begun.wait();
        ends[0].count_down();
        while (pool.Finished().size() < 2) {
            pool.WaitForFinishedJob(seconds(1));
            pool.Refresh();
        }
        EXPECT_EQ(pool.At(1).result, 11) << "not the result of the job before the staged one";
        pool.Reset(0);
        EXPECT_EQ(pool.Submit(next, 2, record), -1) << "the worker that runs the staged job has not been reset";
        pool.Reset(1);
        EXPECT_EQ(pool.Submit(next, 2, record), 1);
        EXPECT_EQ(pool.At(1).status, Status::working);
        ends[2].count_down();
        pool.WaitForAll();
        EXPECT_EQ(pool.At(1).result, 200);

        // Stage has no effect if a worker's job has ended since the last refresh; Submit then starts the job.
        pool.Reset(1);
        EXPECT_EQ(pool.Submit([](FastQRecord&) { return 0; }, 3, record), 0);
        EXPECT_EQ(pool.Submit(sleeps, 4, record), 1);
        pool.WaitForFinishedJob(seconds(1));
        pool.Stage(next, record);
        pool.WaitForAll();
        EXPECT_EQ(runs, 1);
        pool.Reset(0);
        EXPECT_EQ(pool.Submit(next, 5, record), 0);
        pool.WaitForAll();
        EXPECT_EQ(pool.At(0).result, 900);

        pool.Reset(0);
        pool.Reset(1);
        pool.Submit(sleeps, 6, record);
        pool.Submit(sleeps, 7, record);
        pool.Stage(next, record);
    }
    EXPECT_EQ(runs, 2) << "a job that was staged but not submitted ran at the pool's end";
}

TEST_F(WorkerPoolJobs, KeepsTwoResultsOfAWorkerButNoFinishedJob) {
    WorkerPool pool(1);
    std::latch end(1);
    const auto result = std::make_shared<int>(20);
    pool.Submit([&](FastQRecord&) { return end.wait(), 10; }, 0, kRecord);
    pool.Stage([result](FastQRecord&) { return *result; }, kRecord);
    end.count_down();
    while (result.use_count() > 1) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(milliseconds(5));
    pool.Refresh();
    EXPECT_EQ(pool.At(0).result, 10);
    pool.Reset(0);
    EXPECT_EQ(pool.Submit([](FastQRecord&) { return 0; }, 1, kRecord), 0);
    pool.WaitForAll();
    EXPECT_EQ(pool.At(0).result, 20);
}

TEST_F(WorkerPoolJobs, UnusedWorkersCostNothing) {
    WorkerPool pool(INT_MAX);
    EXPECT_EQ(pool.Idle().size(), pool.Size());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pool.Submit([](FastQRecord&) { return 0; }, 0, kRecord), i);
    }
    pool.WaitForAll();
    EXPECT_EQ(pool.Used(), 3U);
    pool.Reset(1);
    EXPECT_EQ((Indices{pool.Idle()[0], pool.Idle()[1], pool.Idle()[INT_MAX - 3]}), (Indices{1, 3, INT_MAX - 1}));
    EXPECT_EQ(pool.Idle().size(), INT_MAX - 2U);
    pool.Reset(INT_MAX - 1);
    EXPECT_EQ(pool.At(INT_MAX - 1).status, Status::idle);
    EXPECT_THROW(pool.At(INT_MAX), std::out_of_range);
    EXPECT_EQ(WorkerPool(-1).Size(), 0U);
}

// If each hand-over waited a full millisecond for the next refresh, one worker would take twenty seconds.
TEST_F(ThreadedLoopJobs, OneWorkerKeepsTheOrderAndManyLoseNothing) {
    for (const int threads : {1, 2, 8}) {
        const auto start = Clock::now();
        auto begun = RunLoop({20000}, threads, [](FastQRecord& record) {
            if (NumberOf(record) % 500 == 0) {
                std::this_thread::sleep_for(milliseconds(1));
            }
            return 1;
        });
        if (threads > 1) {
            std::ranges::sort(begun);
        }
        EXPECT_EQ(begun, UpTo(20000)) << threads;
        EXPECT_LT(Clock::now() - start, seconds(7)) << "the owner noticed the ends of jobs too late";
    }
}

TEST_F(ThreadedLoopJobs, VerboseLoggingChangesNothingElse) {
    for (const int threads : {1, 2, 8}) {
        for (const bool verbose : {false, true}) {
            Common::logging::Prepare();  // Earlier tests may have left logging on.
            const auto log = verbose ? std::make_unique<Tests::CapturedLog>() : nullptr;
            EXPECT_EQ(Common::logging::Accepts(Common::logging::Severity::verbose), verbose);
            std::atomic<int> ended = 0, running = 0, most_running = 0;
            Records records{500};
            records.before_reading = [&](int number) { EXPECT_LE(number - ended, threads) << "too many in memory"; };
            auto begun = RunLoop(records, threads, [&](FastQRecord& record) {
                most_running = std::max(most_running.load(), ++running);
                std::this_thread::sleep_for(std::chrono::microseconds(NumberOf(record) % 50));
                --running;
                return ++ended;
            });
            EXPECT_LE(most_running, threads);
            if (threads > 1) {
                std::ranges::sort(begun);
            }
            EXPECT_EQ(begun, UpTo(500)) << threads;
        }
    }
}

// More threads than processors do not help jobs that keep the processors busy.
TEST_F(ThreadedLoopJobs, WorkersThatCannotHelpAreNotUsed) {
    std::set<std::thread::id> threads;
    std::mutex mutex;
    RunLoop({2000}, INT_MAX, [&](FastQRecord&) {
        for (const auto end = Clock::now() + std::chrono::microseconds(100); Clock::now() < end;) {
        }
        const std::lock_guard lock(mutex);
        return static_cast<int>(threads.insert(std::this_thread::get_id()).second);
    });
    EXPECT_LT(threads.size(), 500U);
}

// While the third job runs, neither the owner nor the worker without a job may spin.
TEST_F(ThreadedLoopJobs, WaitingTakesNoProcessorTime) {
    const auto before = std::clock();
    RunLoop({3}, 2, [](FastQRecord&) { return std::this_thread::sleep_for(milliseconds(150)), 1; });
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 40);
}

TEST_F(ThreadedLoopJobs, AFailedJobAffectsItsReadOnly) {
    const RecordJob fails = [](FastQRecord& record) -> int { throw std::runtime_error(record.GetTitle()); };
    for (const int threads : {1, 4}) {
        EXPECT_EQ(RunLoop({60}, threads, fails).size(), 60U);
    }
    std::atomic<int> ended = 0;
    const RecordJob job = [&](FastQRecord& record) -> int {
        ++ended;
        if (NumberOf(record) == 20) {
            throw 5;
        }
        return 1;
    };
    EXPECT_THROW(RunLoop({60}, 1, job), int);
    EXPECT_GE(ended, 21);
    EXPECT_LE(ended, 22) << "more than the staged job ran after an exception of unknown type";
}

TEST_F(ThreadedLoopJobs, TheLogFollowsTheModel) {
    constexpr int kJobs = 300;
    const RecordJob job = [](FastQRecord& record) {
        const auto number = NumberOf(record);
        std::this_thread::sleep_for(std::chrono::microseconds(number * 37 % 400));
        TAVIK_LOG(verbose) << "Ran job " << number;
        return Tests::LoopLogModel::Fails(number) != 0 ? throw std::runtime_error("failed") : 1;
    };
    for (const int threads : {1, 2, 8}) {
        const Tests::CapturedLog log;
        RunLoop({kJobs}, threads, job);
        Tests::LoopLogModel model(threads, kJobs);
        int place = 0;
        for (const auto& line : log.Of("verbose")) {
            ASSERT_EQ(model.Take(line), "") << threads << " workers, line " << place << ": " << line;
            ++place;
        }
        EXPECT_TRUE(model.IsDone());
    }
    const Tests::CapturedLog log;
    EXPECT_EQ(Tests::ErrorOf([&] { RunLoop({2}, -1, [](FastQRecord&) { return 1; }); }), "Could not submit job 0");
    EXPECT_EQ(log.Of("verbose"), Tests::Lines(10, "Submitting job 0"));
}

TEST_F(ThreadedLoopJobs, AnErrorOfTheInputWaitsForTheSubmittedJobs) {
    std::atomic<int> done = 0;
    EXPECT_EQ(Tests::ErrorOf([&] {
                  RunLoop({10, 6}, 4, [&](FastQRecord&) {
                      std::this_thread::sleep_for(milliseconds(2));
                      return ++done;
                  });
              }),
              "bad record");
    EXPECT_EQ(done, 6);
}

}  // namespace
