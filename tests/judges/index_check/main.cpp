#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "tests/judges/index_check/index_mutants.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: tests/judges/index-check N SEED\n";
        return 2;
    }
    constexpr std::size_t kBases = 300000, kReads = 30;
    IndexCheck::IndexMutants mutants(static_cast<std::uint32_t>(std::atol(argv[2])), kBases, kReads);
    IndexCheck::MutantFigures figures;
    mutants.Try(std::atol(argv[1]), figures);
    long changed = 0;
    for (const auto& [what, count] : figures.changed) {
        changed += count;
    }
    std::cout << figures.refused << " refused, " << figures.alike << " accepted with the same records, " << changed
              << " accepted with other records:\n";
    for (const auto& [what, count] : figures.changed) {
        std::cout << "  " << count << "  " << what << '\n';
    }
    if (!figures.failure.empty()) {
        std::cout << "FAILED: " << figures.failure << '\n';
    }
    return figures.failure.empty() ? 0 : 1;
}
