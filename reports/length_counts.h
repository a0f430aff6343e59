#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Reports {

/// Counts lengths in bases: exactly below 65 536, otherwise with a precision of 1 in 32 768.
/// Keeps at most 557 056 counts of 8 bytes each.
class LengthCounts {
public:
    /// `length` is 0 or more.
    void Add(std::int32_t length);

    std::uint64_t Count() const { return count; }
    std::int32_t Longest() const { return longest; }

    /// The middle length, or the mean of the two middle lengths; 0 if no length has been added.
    double Median() const;

    /// The largest length such that all lengths at or above it add up to at least half of all bases; 0 if
    /// there are no bases.
    std::int32_t N50() const;

    /// Calls `use(length, count)` for each length that occurs, in ascending order. Lengths above 65 535 are grouped
    /// into bins, and `use` receives the middle of the bin, but never more than the longest length.
    template <typename Use>
    void ForEach(Use use) const {
        for (std::size_t bin = 0; bin < bins.size(); ++bin) {
            if (bins[bin] > 0) {
                use(LengthOf(bin), bins[bin]);
            }
        }
    }

private:
    std::int32_t LengthOf(std::size_t bin) const;
    std::int32_t AtRank(std::uint64_t rank) const;

    std::vector<std::uint64_t> bins;
    std::uint64_t count = 0;
    std::int32_t longest = 0;
};

}  // namespace Reports
