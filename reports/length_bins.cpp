#include "reports/length_bins.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Reports {

LengthBins::LengthBins(int per_decade) {
    for (int bin = 0;; ++bin) {
        // A rounding error of pow must not move the start of a bin up to the next whole length.
        const double start = std::pow(10.0, static_cast<double>(bin) / per_decade);
        if (start > std::numeric_limits<std::int32_t>::max()) {
            break;
        }
        starts.push_back(static_cast<std::int32_t>(std::ceil(start - 1e-6)));
    }
}

std::size_t LengthBins::BinOf(std::int32_t length) const {
    // Several bins may have the same start, because a bin may contain no whole length. A length belongs to the last of
    // them.
    const auto after = std::upper_bound(starts.begin(), starts.end(), length);
    return after == starts.begin() ? 0 : static_cast<std::size_t>(after - starts.begin()) - 1;
}

}  // namespace Reports
