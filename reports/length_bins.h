#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Reports {

/// Bins for lengths, equally wide on a logarithmic axis. Bin `i` begins at 10^(i / per_decade), rounded up to a whole
/// length, and ends where the next one begins; length 0 goes to bin 0. The bins cover all 32-bit lengths.
class LengthBins {
public:
    explicit LengthBins(int per_decade);

    std::size_t Count() const { return starts.size(); }
    std::size_t BinOf(std::int32_t length) const;

private:
    std::vector<std::int32_t> starts;
};

}  // namespace Reports
