#include <tuple>

#include <gtest/gtest.h>

#include "third_party_alignment/qel_minimap2/kernel/kernel_comparison.h"

namespace {

TEST(Kernel, AnswersEveryCallAsTheLibraryDoes) {
    if (!__builtin_cpu_supports("avx2")) {
        GTEST_SKIP() << "This processor has no AVX2: the library's own kernel is used.";
    }
    for (const auto& [seed, longest, count] : {std::tuple{1U, 300, 24000L}, std::tuple{2U, 3000, 1000L}}) {
        Tests::RandomCalls calls(seed, longest);
        Tests::ComparisonFigures figures;
        EXPECT_EQ(Tests::CompareWithLibrary(calls, count, figures), "");
        EXPECT_GT(figures.dropped, count / 100);
        EXPECT_GT(figures.reached_end, count / 200);
        EXPECT_GT(figures.with_cigar, count / 2);
    }
}

}  // namespace
