#include <algorithm>
#include <cstdint>
#include <iostream>

#include <boost/lexical_cast/try_lexical_convert.hpp>

#include "tests/judges/index_check/index_mutants.h"

using boost::conversion::try_lexical_convert;

int main(int argc, char** argv) {
    long wanted = 0;
    std::uint32_t seed = 0;
    const bool are_numbers = argc == 3 && try_lexical_convert(argv[1], wanted) && try_lexical_convert(argv[2], seed);
    if (!are_numbers || wanted < 1) {
        std::cerr << "usage: tests/judges/index-check N SEED, N at least 1\n";
        return 2;
    }
    constexpr std::size_t kBases = 300000, kReads = 30;
    IndexCheck::IndexMutants mutants(seed, kBases, kReads);
    IndexCheck::MutantFigures figures;
    mutants.Try(wanted, figures);
    long changed = 0;
    for (const auto& [what, count] : figures.changed) {
        changed += count;
    }
    std::cout << figures.refused << " refused, " << figures.alike << " accepted with the same records, " << changed
              << " accepted with different records:\n";
    for (const auto& [what, count] : figures.changed) {
        std::cout << "  " << count << "  " << what << '\n';
    }
    if (!figures.failure.empty()) {
        std::cout << "FAILED: " << figures.failure << '\n';
    }
    return figures.failure.empty() ? 0 : 1;
}
