#include "reports/length_bins.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Reports {

LengthBins::LengthBins(int per_decade) {
    for (int bin = 0;; ++bin) {
        // Whole powers of ten must not be rounded up for a last digit that the exponent has lost.
        const double start = std::pow(10.0, static_cast<double>(bin) / per_decade);
        if (start > std::numeric_limits<std::int32_t>::max()) {
            break;
        }
        starts.push_back(static_cast<std::int32_t>(std::ceil(start - 1e-6)));
    }
}

std::size_t LengthBins::BinOf(std::int32_t length) const {
    // The last of those that begin at or below the length: bins that hold no whole length begin where the next one
    // does.
    const auto behind = std::upper_bound(starts.begin(), starts.end(), length);
    return behind == starts.begin() ? 0 : static_cast<std::size_t>(behind - starts.begin()) - 1;
}

}  // namespace Reports
