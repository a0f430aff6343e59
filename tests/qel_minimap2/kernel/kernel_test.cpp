#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <time.h>

#include "qel_minimap2/kernel/anchor_sort.h"
#include "qel_minimap2/kernel/chain_comparison.h"
#include "qel_minimap2/kernel/kernel_comparison.h"
#include "qel_minimap2/kernel/kernels.h"
#include "qel_minimap2/kernel/scratch.h"

namespace {

using Minimizers = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

Minimizers Taken(mm128_v& list) {
    Minimizers minimizers;
    for (std::size_t i = 0; i < list.n; ++i) {
        minimizers.emplace_back(list.a[i].x, list.a[i].y);
    }
    std::free(list.a);
    return minimizers;
}

// Returns random bases. Some are ambiguous, and some sequences are periodic, so that a window may have equal k-mers.
std::string BasesWithRepeats(std::mt19937& random) {
    std::string bases(1 + random() % (random() % 4 == 0 ? 9000 : 200), 'A');
    const auto period = random() % 3 == 0 ? 1 + random() % 20 : bases.size();
    const auto ambiguous = random() % 2 == 0 ? 1 + random() % 100 : 0;
    for (std::size_t i = 0; i < bases.size(); ++i) {
        bases[i] = i < period ? "ACGTacgtUu"[random() % 10] : bases[i - period];
        if (random() % 1000 < ambiguous) {
            bases[i] = "NnRB_\x7F\3\xC3"[random() % 8];
        }
    }
    return bases;
}

std::vector<int> Widths() {
    std::vector<int> widths;
    for (const auto& kernels : qel_minimap2::kernel::RunnableKernels()) {
        widths.push_back(kernels.bits);
    }
    return widths;
}

class Kernel : public testing::TestWithParam<int> {
protected:
    Tests::ComparisonFigures Compare(Tests::RandomCalls& calls, long count) const {
        Tests::ComparisonFigures figures;
        EXPECT_EQ(Tests::CompareWithMinimap2(
                      kernels, [&] { return calls.Next(); }, count, figures),
                  "");
        EXPECT_LT(figures.left_to_minimap2, count / 5);
        return figures;
    }

    const qel_minimap2::kernel::Kernels& kernels =
        *std::ranges::find(qel_minimap2::kernel::RunnableKernels(), GetParam(), &qel_minimap2::kernel::Kernels::bits);
};

INSTANTIATE_TEST_SUITE_P(Bits, Kernel, testing::ValuesIn(Widths()));

TEST_P(Kernel, AlignsAsMinimap2Does) {
    for (const auto& [seed, longest, count] : {std::tuple{1U, 300, 24000L}, std::tuple{2U, 3000, 1000L}}) {
        Tests::RandomCalls calls(seed, longest);
        const auto figures = Compare(calls, count);
        EXPECT_GT(figures.dropped, count / 100);
        EXPECT_GT(figures.reached_end, count / 200);
        EXPECT_GT(figures.with_cigar, count / 2);
    }
}

// Mapping with the preset map-ont never makes these calls. Some of their scorings would overflow the kernels' 8-bit
// lanes.
TEST_P(Kernel, LeavesUnusualCallsToMinimap2) {
    using Change = void (*)(qel_minimap2::kernel::AlignmentCall&);
    const Change changes[] = {
        [](auto& call) { call.flags |= KSW_EZ_SCORE_ONLY; },
        [](auto& call) { call.flags |= KSW_EZ_GENERIC_SC; },
        [](auto& call) { call.flags |= KSW_EZ_APPROX_DROP; },
        [](auto& call) { call.flags |= KSW_EZ_EXTZ_ONLY; },
        [](auto& call) { call.band = 99; },
        [](auto& call) { call.letters = 4; },
        [](auto& call) { call.query_length = 0; },
        [](auto& call) { call.target_length = 0; },
        [](auto& call) { std::swap(call.open, call.open2), std::swap(call.extend, call.extend2); },
        [](auto& call) { call.extend2 = call.extend; },
        [](auto& call) { call.extend2 = -1; },
        [](auto& call) { call.open = 0, call.extend = 3; },
        [](auto& call) { call.open2 = 50; },
        [](auto& call) { call.open = 0, call.extend = 1, call.extend2 = 0; }};
    const std::vector<std::uint8_t> bases(100, 1);
    std::vector<std::int8_t> matrix(25, -4);
    matrix[0] = 2;
    ksw_extz_t result{};
    const qel_minimap2::kernel::AlignmentCall usual{
        nullptr, 100, bases.data(), 100, bases.data(), 5, matrix.data(), 4, 2, 24, 1, -1, 400, -1, KSW_EZ_APPROX_MAX};
    EXPECT_TRUE(kernels.align(usual, result));
    for (const auto& change : changes) {
        auto call = usual;
        change(call);
        EXPECT_FALSE(kernels.align(call, result)) << &change - changes;
    }
    std::free(result.cigar);
}

TEST_P(Kernel, ProvesItsBandAgainstPathsOutside) {
    Tests::RandomCalls calls(6, 0);
    calls.AttackTheBand();
    EXPECT_EQ(Compare(calls, 30000).with_cigar, 30000);
}

// The best path outside the narrowest band scores as much as the best path inside. If the bound left out paths
// whose insertions are all in short gaps, it would wrongly prove that every optimal path lies inside.
TEST_P(Kernel, BoundsAPathWithManyShortInsertionsExactly) {
    const auto codes = [](std::string bases) {
        std::ranges::transform(bases, bases.begin(),
                               [](char base) { return static_cast<char>(std::string_view("ACGT").find(base)); });
        return std::vector<std::uint8_t>(bases.begin(), bases.end());
    };
    const auto target = codes(
        "GCAGTATGCTGCCACGAACGAACTATTTTCAGGCTAATGTTTACTCTAGCGCTACTCACCACTCTTTTTTTTCGAGAGACTACGCAGAGCATATAGAATGGCCGCTAGT"
        "GGCTGCGTACACCAATAACA");
    const auto query = codes(
        "GCAGTATGCTGCCACGAACGAATTTTTTTGGGGCGAGACGACCGGTACGCAGAGCGGTGATATAGAAGCGTTGGCCGCTATGGGGTGGCTGCGTACACCAATAACA");
    const std::int8_t matrix[] = {2,  -4, -4, -4, -1, -4, 2,  -4, -4, -1, -4, -4, 2,
                                  -4, -1, -4, -4, -4, 2,  -1, -1, -1, -1, -1, -1};
    const qel_minimap2::kernel::AlignmentCall call{nullptr,
                                                   static_cast<int>(query.size()),
                                                   query.data(),
                                                   static_cast<int>(target.size()),
                                                   target.data(),
                                                   5,
                                                   matrix,
                                                   4,
                                                   2,
                                                   24,
                                                   1,
                                                   -1,
                                                   -1,
                                                   0,
                                                   KSW_EZ_APPROX_MAX | KSW_EZ_REV_CIGAR};
    Tests::ComparisonFigures figures;
    EXPECT_EQ(Tests::CompareWithMinimap2(
                  kernels, [&] { return call; }, 1, figures),
              "");
    EXPECT_EQ(figures.left_to_minimap2, 0);
}

TEST_P(Kernel, EndsReadsOnlyWhereNothingBetterFollows) {
    Tests::RandomCalls calls(7, 400);
    calls.AttackTheEnds();
    EXPECT_GT(Compare(calls, 60000).reached_end, 3000);
}

// The path to the best end of the query begins along the border. If the bound for such paths were too low by the cost
// of one gap base, the alignment would end before this path leaves the border.
TEST_P(Kernel, EndsReadsOnlyWhereNoPathFromTheBorderIsBetter) {
    const std::uint8_t query = 0;
    std::vector<std::uint8_t> target(32, 1);
    target[16] = 0;
    std::vector<std::int8_t> matrix(25, -20);
    matrix[0] = 7;
    matrix[24] = -1;
    const qel_minimap2::kernel::AlignmentCall call{
        nullptr, 1, &query, 32, target.data(), 5, matrix.data(), 8, 2, 10, 1, -1, -1, 100, KSW_EZ_EXTZ_ONLY};
    Tests::ComparisonFigures figures;
    EXPECT_EQ(Tests::CompareWithMinimap2(
                  kernels, [&] { return call; }, 1, figures),
              "");
    EXPECT_EQ(figures.left_to_minimap2, 0);
}

TEST_P(Kernel, FindsTheMinimizersThatMinimap2Finds) {
    std::mt19937 random(3);
    std::size_t found = 0;
    for (int i = 0; i < 6000; ++i) {
        const auto bases = BasesWithRepeats(random);
        const int length = static_cast<int>(bases.size());
        const int window = i % 2 == 0 ? 10 : 1 + static_cast<int>(random() % 16);
        const int k = i % 2 == 0 ? 15 : 5 + 2 * static_cast<int>(random() % 6);
        mm128_v expected{};
        mm128_v actual{};
        mm_sketch(nullptr, bases.data(), length, window, k, 7, 0, &expected);
        kernels.sketch({nullptr, bases.data(), length, window, k, 7, &actual});
        const auto minimizers = Taken(expected);
        ASSERT_EQ(Taken(actual), minimizers) << bases << " w " << window << " k " << k;
        found += minimizers.size();
    }
    EXPECT_GT(found, 500000U);
}

bool IsMapped(std::uint8_t* page) {
    unsigned char resident = 0;
    return ::mincore(page, 1, &resident) == 0;
}

TEST(Scratch, ThreadsTakeTheBuffersOfEndedThreads) {
    using namespace qel_minimap2::kernel;
    // Counts in the buffer itself, because a new, zeroed buffer may have the address of a freed one.
    const auto count_use = [] {
        auto* const memory = ScratchMemory(Scratch::lines, 100);
        ++*memory;
        return memory;
    };
    auto* const own = count_use();
    auto* const first = std::async(std::launch::async, count_use).get();
    EXPECT_NE(first, own);
    EXPECT_EQ(std::async(std::launch::async, count_use).get(), first);
    EXPECT_EQ(*first, 2);
    FreeIdleScratch();
    EXPECT_FALSE(IsMapped(first));
}

TEST(Scratch, KeepsTheMemoryOfUsualCallsAndFreesTheRest) {
    using namespace qel_minimap2::kernel;
    for (const auto& [use, usual, large] :
         {std::tuple{Scratch::way_back, 16U << 20U, 17U << 20U}, std::tuple{Scratch::joining, 2U << 20U, 3U << 20U}}) {
        TrimScratch();  // Frees what earlier tests may have left.
        auto* const kept = ScratchMemory(use, usual);
        ASSERT_NE(kept, nullptr);
        kept[usual - 1] = 1;
        TrimScratch();
        EXPECT_EQ(ScratchMemory(use, 1), kept);
        EXPECT_EQ(kept[usual - 1], 1);
        auto* const given_back = ScratchMemory(use, large);
        given_back[large - 1] = 1;
        TrimScratch();
        EXPECT_FALSE(IsMapped(given_back + large - 1));
    }
}

TEST(AnchorSort, SortsAsMinimap2Does) {
    Tests::RandomAnchors random(4);
    EXPECT_EQ(Tests::CompareSorting(random, 10000), "");
}

TEST_P(Kernel, ChainsAnchorsAsMinimap2Does) {
    Tests::RandomAnchors random(5);
    Tests::ChainFigures chained;
    EXPECT_EQ(Tests::CompareChaining(kernels, random, 10000, chained), "");
    EXPECT_EQ(chained.left_to_minimap2, 0);
    EXPECT_GT(chained.chains, 10000);
    Tests::ChainFigures joined;
    EXPECT_EQ(Tests::CompareJoining(kernels, random, 10000, joined), "");
    EXPECT_EQ(joined.left_to_minimap2, 0);
    EXPECT_GT(joined.chains, 5000);
}

// The first pair is that of the preset map-ont; with the second pair, differences in rounding are likely.
TEST_P(Kernel, JoinsDistantChainsAsMinimap2Does) {
    for (const auto& [gap_penalty, skip_penalty] : {std::pair{0.12F, 0.0F}, std::pair{1.03F, 0.17F}}) {
        Tests::ChainFigures figures;
        EXPECT_EQ(Tests::CompareDistantChains(kernels, gap_penalty, skip_penalty, figures), "");
        EXPECT_EQ(figures.chains, figures.calls) << "each list must give one chain";
    }
}

// Thousands of anchors are in reach of each other, so they are joined in several windows.
TEST_P(Kernel, ChainsAndJoinsArraysOfCopiesAsMinimap2Does) {
    Tests::RandomAnchors random(9);
    random.MakeArrays();
    Tests::ChainFigures figures;
    EXPECT_EQ(Tests::CompareJoining(kernels, random, 150, figures), "");
    EXPECT_EQ(figures.left_to_minimap2, 0);
    EXPECT_EQ(Tests::CompareChaining(kernels, random, 10, figures), "");
}

double SecondsToJoin(const qel_minimap2::kernel::Kernels& kernels, const std::vector<mm128_t>& anchors) {
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    double least = 1e9;
    for (int i = 0; i < 3; ++i) {
        const auto begin = now();
        EXPECT_TRUE(Tests::JoinByDefault(kernels, anchors));
        least = std::min(least, now() - begin);
    }
    return least;
}

// If the kernel compared all copies instead of those in reach, four times the copies would take 16 times as long.
TEST_P(Kernel, TimeToJoinIsProportionalToTheCopies) {
    Tests::RandomAnchors random(8);
    std::vector<double> seconds;
    for (const int copies : {100, 400}) {
        auto anchors = random.Array(copies, 800, 12);
        qel_minimap2::kernel::SortAnchors(anchors.data(), anchors.data() + anchors.size());
        seconds.push_back(SecondsToJoin(kernels, anchors));
    }
    EXPECT_LT(seconds[1], 8 * seconds[0]);
}

// The kernels assume one length for all anchors. Homopolymer-compressed k-mers differ in length.
TEST_P(Kernel, LeavesAnchorsOfSeveralLengthsToMinimap2) {
    using namespace qel_minimap2::kernel;
    const ChainScoring scoring{500, 25, 1, 1, 0.12F, 0};
    for (const std::uint64_t length : {15U, 16U}) {
        for (const bool joins : {false, true}) {
            auto* const anchors = static_cast<mm128_t*>(std::malloc(2 * sizeof(mm128_t)));
            anchors[0] = {100, 15ULL << 32U | 100};
            anchors[1] = {130, length << 32U | 130};
            Chains chains{nullptr, 2, anchors, 0, nullptr};
            const bool done = joins ? kernels.join({5000, 1000, 1000, scoring}, chains)
                                    : kernels.chain({5000, 5000, 5000, scoring}, chains);
            EXPECT_EQ(done, length == 15);
            std::free(chains.anchors);
            std::free(chains.chains);
        }
    }
}

}  // namespace
