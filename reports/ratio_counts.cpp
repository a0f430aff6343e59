#include "reports/ratio_counts.h"

#include <algorithm>
#include <cmath>

namespace Reports {

std::size_t RatioCounts::AtRank(std::uint64_t rank) const {
    std::size_t bin = 0;
    for (std::uint64_t passed = bins[0]; passed <= rank; passed += bins[bin]) {
        ++bin;
    }
    return bin;
}

double RatioCounts::Median() const {
    return count == 0 ? 0 : (RatioOf(AtRank((count - 1) / 2)) + RatioOf(AtRank(count / 2))) / 2;
}

std::vector<std::uint64_t> RatioCounts::ByPerMille() const {
    constexpr std::size_t kSteps = 1000;
    std::vector<std::uint64_t> counts(kSteps);
    for (std::size_t bin = 0; bin <= kBins; ++bin) {
        counts[std::min(bin / (kBins / kSteps), kSteps - 1)] += bins[bin];
    }
    return counts;
}

std::vector<std::uint64_t> RatioCounts::ByQuality() const {
    constexpr std::size_t kLast = 100;
    std::vector<std::uint64_t> counts(kLast + 1);
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        const auto step = static_cast<std::size_t>(-20 * std::log10(1 - RatioOf(bin)));
        counts[std::min(step, kLast)] += bins[bin];
    }
    counts[kLast] += bins[kBins];
    return counts;
}

}  // namespace Reports
