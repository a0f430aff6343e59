#include "reports/length_counts.h"

#include <algorithm>
#include <bit>

namespace Reports {

namespace {

// Each of the bins [0, kExact) contains one length. After them, there are kSteps bins for each doubling of the length:
// each bin contains two lengths from kExact on, four from 2 * kExact on, and so on.
constexpr std::uint32_t kExact = 1U << 16U;
constexpr std::uint32_t kSteps = kExact / 2;
constexpr int kExactBits = 16;

std::size_t BinOf(std::uint32_t length) {
    if (length < kExact) {
        return length;
    }
    const auto doublings = static_cast<std::uint32_t>(std::bit_width(length) - kExactBits);
    return kExact + std::size_t{doublings - 1} * kSteps + ((length >> doublings) - kSteps);
}

}  // namespace

void LengthCounts::Add(std::int32_t length) {
    const auto bin = BinOf(static_cast<std::uint32_t>(length));
    if (bin >= bins.size()) {
        bins.resize(bin + 1);
    }
    ++bins[bin];
    ++count;
    longest = std::max(longest, length);
}

std::int32_t LengthCounts::LengthOf(std::size_t bin) const {
    if (bin < kExact) {
        return static_cast<std::int32_t>(bin);
    }
    const auto doublings = (bin - kExact) / kSteps + 1;
    const auto lowest = (kSteps + (bin - kExact) % kSteps) << doublings;
    const auto middle = lowest + ((std::size_t{1} << doublings) - 1) / 2;
    return std::min(static_cast<std::int32_t>(middle), longest);
}

std::int32_t LengthCounts::AtRank(std::uint64_t rank) const {
    std::size_t bin = 0;
    for (std::uint64_t passed = bins[0]; passed <= rank; passed += bins[bin]) {
        ++bin;
    }
    return LengthOf(bin);
}

double LengthCounts::Median() const {
    if (count == 0) {
        return 0;
    }
    return (static_cast<double>(AtRank((count - 1) / 2)) + static_cast<double>(AtRank(count / 2))) / 2;
}

std::int32_t LengthCounts::N50() const {
    std::uint64_t bases = 0;
    ForEach(
        [&bases](std::int32_t length, std::uint64_t times) { bases += static_cast<std::uint64_t>(length) * times; });
    std::uint64_t shorter = 0;  // Bases of all lengths below the current one.
    std::int32_t n50 = 0;
    ForEach([&](std::int32_t length, std::uint64_t times) {
        if (2 * (bases - shorter) >= bases) {
            n50 = length;
        }
        shorter += static_cast<std::uint64_t>(length) * times;
    });
    return n50;
}

}  // namespace Reports
