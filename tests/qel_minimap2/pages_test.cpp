#include "qel_minimap2/pages.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using qel_minimap2::Pages;

TEST(Pages, OnlyCompletePagesOfARangeAreReleased) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::tuple<std::size_t, std::size_t, std::size_t, std::size_t> cases[] = {{0, 4 * page, 0, 4},
                                                                                    {1, 4 * page - 1, 1, 3},
                                                                                    {page - 1, 2 * page + 1, 1, 2},
                                                                                    {page, 2 * page, 1, 2},
                                                                                    {page + 1, 2 * page - 1, 0, 0},
                                                                                    {page / 2, page / 2, 0, 0},
                                                                                    {2 * page - 1, 2 * page, 0, 0},
                                                                                    {3 * page, 3 * page, 0, 0}};
    for (const auto& [begin, end, first, last] : cases) {
        const Pages pages(4 * page);
        std::memset(pages.Data(), 7, 4 * page);
        std::string expected(4 * page, 7);
        std::fill(&expected[first * page], &expected[last * page], 0);
        pages.Release(begin, end);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), pages.Data())) << begin << " " << end;
    }
}

}  // namespace
