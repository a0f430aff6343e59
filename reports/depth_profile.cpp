#include "reports/depth_profile.h"

#include <algorithm>

namespace Reports {

DepthProfile::DepthProfile(std::int32_t length, std::size_t most_bins)
    : length(length), width(static_cast<std::int32_t>((static_cast<std::size_t>(length) + most_bins - 1) / most_bins)) {
    const auto bins = static_cast<std::size_t>((std::int64_t{length} + width - 1) / width);
    covered.resize(bins);
    whole.resize(bins + 1);
}

void DepthProfile::Add(std::int32_t start, std::int32_t end) {
    if (start == end) {
        return;
    }
    const auto first = static_cast<std::size_t>(start / width);
    const auto last = static_cast<std::size_t>((end - 1) / width);
    if (first == last) {
        covered[first] += static_cast<std::uint64_t>(end - start);
        return;
    }
    covered[first] += static_cast<std::uint64_t>(width - start % width);
    covered[last] += static_cast<std::uint64_t>((end - 1) % width + 1);
    ++whole[first + 1];
    --whole[last];
}

std::vector<double> DepthProfile::MeanDepths() const {
    std::vector<double> depths(covered.size());
    std::int64_t across = 0;
    for (std::size_t bin = 0; bin < covered.size(); ++bin) {
        across += whole[bin];
        const auto begin = static_cast<std::int64_t>(bin) * width;
        const auto bases = std::min<std::int64_t>(width, length - begin);
        depths[bin] = static_cast<double>(covered[bin]) / static_cast<double>(bases) + static_cast<double>(across);
    }
    return depths;
}

}  // namespace Reports
