#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Reports {

/// Counts ratios from 0 to 1, such as identities, with a precision of 0.00001. Takes 0.8 MB.
class RatioCounts {
public:
    /// Bins for ratios below 1; the ratio 1 has its own bin after them.
    static constexpr std::size_t kBins = 100'000;

    RatioCounts() : bins(kBins + 1) {}

    /// The bin of part / whole: the ratio times kBins, rounded down.
    static std::size_t BinOf(std::int64_t part, std::int64_t whole) {
        return static_cast<std::size_t>(part * static_cast<std::int64_t>(kBins) / whole);
    }

    /// The middle of a bin; 1 for the last bin.
    static double RatioOf(std::size_t bin) {
        return bin == kBins ? 1.0 : (static_cast<double>(bin) + 0.5) / static_cast<double>(kBins);
    }

    /// Counts the ratio part / whole; 0 <= part <= whole and whole > 0.
    void Add(std::int64_t part, std::int64_t whole) {
        ++bins[BinOf(part, whole)];
        ++count;
    }

    std::uint64_t Count() const { return count; }

    /// The middle ratio, or the mean of the two middle ratios; 0 if no ratio has been added.
    double Median() const;

    /// 1000 counts, one for each step of 0.001. The last step includes the ratio 1.
    std::vector<std::uint64_t> ByPerMille() const;

    /// 101 counts, one for each step of 0.5 of the quality, -10 log10(1 - ratio). The last one is for 50 and above.
    std::vector<std::uint64_t> ByQuality() const;

private:
    std::size_t AtRank(std::uint64_t rank) const;

    std::vector<std::uint64_t> bins;
    std::uint64_t count = 0;
};

}  // namespace Reports
