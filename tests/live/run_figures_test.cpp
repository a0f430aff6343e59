#include "live/run_figures.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using std::chrono::minutes;

TEST(RunFigures, RateIsThatOfTheLatestTenMinutes) {
    // For each round, how long ago it was published and the number of reads in the output by then. Each row ends
    // with the rate in the status line.
    const std::pair<std::vector<std::pair<minutes, std::uint64_t>>, std::string> cases[] = {
        {{}, ""},
        {{{minutes(1), 500}}, ""},
        {{{minutes(5), 1000}, {minutes(1), 1800}}, ", 200 reads/min"},
        {{{minutes(14), 1000}, {minutes(9), 2000}, {minutes(5), 2400}}, ", 100 reads/min"},
        {{{minutes(14), 1000}, {minutes(9), 2000}}, ""},
        {{{minutes(300), 1000}, {minutes(299), 2000}}, ""},
    };
    const auto now = std::chrono::steady_clock::now();
    for (const auto& [rounds, rate] : cases) {
        Live::RunFigures figures;
        for (const auto& [ago, reads] : rounds) {
            figures.AddReads(now - ago, reads);
        }
        EXPECT_EQ(figures.Text({}, Live::WatchedFiles(minutes(1)), Reports::GrowingReport("")),
                  "0 files, 0 reads" + rate + ", up to date");
    }
}

}  // namespace
