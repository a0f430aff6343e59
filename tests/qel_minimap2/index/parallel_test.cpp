#include "qel_minimap2/index/parallel.h"

#include <atomic>
#include <climits>
#include <cstddef>
#include <functional>
#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "tests/common/meeting.h"
#include "tests/common/texts.h"

namespace {

std::atomic<int> allocations_left = INT_MAX;

}  // namespace

// The linker replaces operator new(std::size_t) in this program with __wrap__Znwm.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier)
extern "C" void* __real__Znwm(std::size_t size);
extern "C" void* __wrap__Znwm(std::size_t size) {
    if (allocations_left < INT_MAX && --allocations_left < 0) {
        throw std::bad_alloc();
    }
    return __real__Znwm(size);
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace {

using namespace qel_minimap2;

TEST(ForEach, RunsInTheCallingThreadIfNoOtherCanBeStarted) {
    pthread_attr_t attributes{};
    ASSERT_EQ(pthread_getattr_default_np(&attributes), 0);
    auto none_fits = attributes;
    ASSERT_EQ(pthread_attr_setstacksize(&none_fits, std::size_t{1} << 50U), 0);
    ASSERT_EQ(pthread_setattr_default_np(&none_fits), 0);
    EXPECT_THROW(std::jthread([] {}), std::system_error);
    std::vector<unsigned> workers(100, 99);
    ForEach(workers.size(), [&](std::size_t item, unsigned worker) { workers[item] = worker; });
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    EXPECT_EQ(workers, std::vector<unsigned>(100, 0));
}

TEST(ForEach, CompletesTheWorkIfMemoryEndsWhileThreadsStart) {
    SetWorkerLimit(4);
    for (int fitting = 0; fitting < 4; ++fitting) {
        std::vector<int> calls(100);
        const std::function<void(std::size_t, unsigned)> work = [&](std::size_t item, unsigned) { ++calls[item]; };
        allocations_left = fitting;
        EXPECT_NO_THROW(ForEach(calls.size(), work)) << fitting;
        const bool ended = allocations_left < 0;
        allocations_left = INT_MAX;
        EXPECT_EQ(calls, std::vector<int>(100, 1)) << fitting;
        EXPECT_TRUE(ended) << "there was memory for all threads, so the test shows nothing";
    }
    SetWorkerLimit(0);
}

TEST(ForEach, CallsOncePerItemAndRethrowsTheFirstException) {
    std::vector<int> calls(1000);
    ForEach(calls.size(), [&](std::size_t item, unsigned worker) { calls[item] += worker < WorkerLimit() ? 1 : 1000; });
    EXPECT_EQ(calls, std::vector<int>(1000, 1));
    Tests::Meeting meeting(static_cast<int>(WorkerLimit()));
    ForEach(WorkerLimit(), [&](std::size_t, unsigned) { meeting.Attend(); });
    EXPECT_FALSE(meeting.Failed()) << "not all workers work at the same time";
    EXPECT_EQ(Tests::ErrorOf([] {
                  ForEach(100, [](std::size_t item, unsigned) {
                      if (item == 7) {
                          throw std::runtime_error("seven");
                      }
                  });
              }),
              "seven");
}

TEST(ForEach, LimitsTheNumberOfThreads) {
    SetWorkerLimit(2'000'000'000);
    EXPECT_EQ(WorkerLimit(), 1024U);
    SetWorkerLimit(0);
}

}  // namespace
