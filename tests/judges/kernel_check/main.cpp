#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include <boost/lexical_cast/try_lexical_convert.hpp>

#include "qel_minimap2/kernel/chain_comparison.h"
#include "qel_minimap2/kernel/kernel_comparison.h"

namespace {

// If there is a difference, prints it and ends the program with status 1.
void Judge(const std::string& difference) {
    if (!difference.empty()) {
        std::cout << difference << '\n';
        std::exit(1);
    }
}

void Run(const qel_minimap2::kernel::Kernels& kernels, long wanted, std::uint32_t seed) {
    Tests::RandomCalls calls(seed, 3000);
    Tests::RandomCalls attacks(seed, 0);
    attacks.AttackTheBand();
    Tests::RandomCalls ends(seed, 400);
    ends.AttackTheEnds();
    Tests::RandomAnchors anchors(seed);
    Tests::RandomAnchors arrays(seed);
    arrays.MakeArrays();
    Tests::ComparisonFigures figures;
    Tests::ChainFigures chained;
    Tests::ChainFigures joined;
    while (figures.calls < wanted) {
        const auto count = std::min(wanted - figures.calls, 100000L);
        Judge(Tests::CompareWithMinimap2(
            kernels, [&] { return calls.Next(); }, count - 2 * (count / 3), figures));
        Judge(Tests::CompareWithMinimap2(
            kernels, [&] { return attacks.Next(); }, count / 3, figures));
        Judge(Tests::CompareWithMinimap2(
            kernels, [&] { return ends.Next(); }, count / 3, figures));
        Judge(Tests::CompareSorting(anchors, count));
        Judge(Tests::CompareChaining(kernels, anchors, count, chained));
        Judge(Tests::CompareJoining(kernels, anchors, count, joined));
        const float penalty = 0.01F * static_cast<float>(arrays.Between(1, 100));
        Judge(Tests::CompareDistantChains(kernels, penalty, 0.3F * penalty, joined));
        Judge(Tests::CompareChaining(kernels, arrays, count / 1000, chained));
        Judge(Tests::CompareJoining(kernels, arrays, count / 200, joined));
        std::cout << kernels.bits << " bits: " << figures.calls - figures.left_to_minimap2 << " equal alignments and "
                  << figures.left_to_minimap2 << " left to minimap2; of all these, " << figures.with_cigar
                  << " with a CIGAR, " << figures.dropped << " dropped, " << figures.reached_end
                  << " reached the end of the read; " << figures.calls << " lists of anchors sorted, "
                  << chained.calls - chained.left_to_minimap2 << " chained into " << chained.chains << " chains and "
                  << joined.calls - joined.left_to_minimap2 << " joined, or chained over long gaps, into "
                  << joined.chains << " chains; " << chained.left_to_minimap2 + joined.left_to_minimap2
                  << " lists left to minimap2" << std::endl;
    }
}

}  // namespace

using boost::conversion::try_lexical_convert;

int main(int argc, char** argv) {
    long wanted = 0;
    std::uint32_t seed = 0;
    const bool are_numbers = argc == 3 && try_lexical_convert(argv[1], wanted) && try_lexical_convert(argv[2], seed);
    if (!are_numbers || wanted < 1) {
        std::cerr << "usage: tests/judges/kernel-check N SEED, N at least 1\n";
        return 2;
    }
    const auto runnable = qel_minimap2::kernel::RunnableKernels();
    if (runnable.empty()) {
        std::cerr << "kernel-check: no kernel runs on this processor\n";
        return 2;
    }
    for (const auto& kernels : runnable) {
        Run(kernels, wanted, seed);
    }
    return 0;
}
