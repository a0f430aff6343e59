#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Reports {

/// The depth along one reference sequence, in bins of equal width (the last may be narrower). An alignment covers every
/// position from its start to its end, deletions included.
class DepthProfile {
public:
    /// `length` > 0 bases, in at most `most_bins` > 0 bins.
    DepthProfile(std::int32_t length, std::size_t most_bins);

    /// Adds an alignment that covers [start, end), 0-based; 0 <= start <= end <= length.
    void Add(std::int32_t start, std::int32_t end);

    std::int32_t BinWidth() const { return width; }

    /// The mean depth of each bin.
    std::vector<double> MeanDepths() const;

private:
    std::int32_t length;
    std::int32_t width;
    std::vector<std::uint64_t> covered;  // Covered bases, summed over the alignments that begin or end in the bin.
    // The number of alignments that reach beyond both ends of the bin, minus that number for the bin before.
    std::vector<std::int64_t> whole;
};

}  // namespace Reports
