#include "live/page_times.h"

#include <gtest/gtest.h>

namespace {

using Duration = Live::PageTimes::Duration;
using std::chrono::milliseconds;
using std::chrono::seconds;

// A page must be replaced before its figures expire, but making pages must take at most about 2 % of the time.
TEST(PageTimes, PageIsReplacedBeforeItExpires) {
    for (const Duration first_cost : {milliseconds(10), milliseconds(1800), milliseconds(3000), milliseconds(20000)}) {
        for (const double growth : {1.0, 1.02}) {
            for (const Duration delay : {seconds(0), seconds(15)}) {  // Caused by other work.
                Live::PageTimes times;
                Live::PageTimes::Time begin;
                Live::PageTimes::Time until = Live::PageTimes::Time::max();
                auto cost = first_cost;
                Duration all{};
                for (int page = 0; page < 100; ++page) {
                    const auto end = begin + cost;
                    ASSERT_LE(end, until) << page << ' ' << first_cost.count();
                    until = begin + times.Life();
                    times.Made(begin, end);
                    times.NewRows();
                    all += cost;
                    cost = std::chrono::duration_cast<Duration>(cost * growth);
                    begin = std::max(times.Due(), end) + delay;
                }
                EXPECT_LE(all * 50, begin.time_since_epoch());
            }
        }
    }
}

TEST(PageTimes, NewRowsAreShownSoonButPagesAreMadeRarely) {
    Live::PageTimes times;
    EXPECT_EQ(times.Due(), Live::PageTimes::Time::max());
    const Live::PageTimes::Time begin;
    times.Made(begin, begin + milliseconds(100));
    EXPECT_EQ(times.Due(), begin + milliseconds(60100));
    times.NewRows();
    EXPECT_EQ(times.Due(), begin + milliseconds(5100));
}

}  // namespace
