#include "reports/breadth.h"

#include <algorithm>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

// After every third random alignment, computes the expected breadth from the depths at the sampled positions.
TEST(Breadth, IsExactAtTheSampledPositionsWhichAreFew) {
    const std::vector<std::int32_t> lengths = {1, 7, 100, 0, 1000, 3001, 8000};
    std::mt19937 random(1);
    for (const std::size_t most : {20'000UL, 12'109UL, 12'108UL, 5000UL, 2011UL, 400UL, 30UL, 7UL, 3UL, 1UL}) {
        Reports::Breadth breadth(lengths, most);
        std::size_t sampled = 0;
        for (std::size_t k = 0; k < lengths.size(); ++k) {
            if (lengths[k] == 0) {
                continue;
            }
            const auto step = static_cast<std::size_t>(breadth.StepOf(k));
            EXPECT_EQ(step == 1, lengths[k] <= breadth.LongestExact());
            std::vector<std::int64_t> depths(static_cast<std::size_t>(lengths[k]));
            std::size_t positions = 0;
            for (int i = 0; i < 60; ++i) {
                auto start = static_cast<std::int32_t>(random() % static_cast<unsigned>(lengths[k] + 1));
                auto end = static_cast<std::int32_t>(random() % static_cast<unsigned>(lengths[k] + 1));
                std::tie(start, end) = std::minmax({start, end});
                breadth.Add(k, start, end);
                for (auto place = start; place < end; ++place) {
                    ++depths[static_cast<std::size_t>(place)];
                }
                if (i % 3 != 2) {
                    continue;
                }
                Reports::Breadth::Shares expected{};
                positions = 0;
                for (auto place = step / 2; place < depths.size(); place += step, ++positions) {
                    expected[0] += depths[place] >= 1;
                    expected[1] += depths[place] >= 10;
                    expected[2] += depths[place] >= 30;
                }
                for (auto& share : expected) {
                    share /= static_cast<double>(positions);
                }
                ASSERT_EQ(breadth.SharesOf(k), expected) << lengths[k] << " bases, " << most << " positions";
            }
            sampled += positions;
        }
        EXPECT_LE(sampled, most + 6);
        EXPECT_GE(sampled, std::min<std::size_t>(most / 2, 12'109));
    }
}

TEST(Breadth, IsZeroWithoutAlignments) {
    EXPECT_EQ(Reports::Breadth({5}).SharesOf(0), Reports::Breadth::Shares{});
}
