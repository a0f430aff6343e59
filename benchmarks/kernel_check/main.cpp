#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "third_party_alignment/qel_minimap2/kernel/kernel_comparison.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: benchmarks/kernel-check N SEED\n";
        return 2;
    }
    if (!__builtin_cpu_supports("avx2")) {
        std::cerr << "This processor has no AVX2: there is nothing to compare.\n";
        return 2;
    }
    const long wanted = std::atol(argv[1]);
    Tests::RandomCalls calls(static_cast<std::uint32_t>(std::atol(argv[2])), 3000);
    Tests::ComparisonFigures figures;
    while (figures.calls < wanted) {
        const auto difference = Tests::CompareWithLibrary(calls, std::min(wanted - figures.calls, 100000L), figures);
        if (!difference.empty()) {
            std::cout << difference << '\n';
            return 1;
        }
        std::cout << figures.calls << " calls alike, " << figures.with_cigar << " with a CIGAR, " << figures.dropped
                  << " dropped, " << figures.reached_end << " to the end of the read" << std::endl;
    }
    return 0;
}
