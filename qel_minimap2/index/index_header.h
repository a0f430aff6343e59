#pragma once

#include <cstdint>
#include <string>

#include <minimap.h>

namespace qel_minimap2 {

/// The values at the start of a prebuilt index: window in k-mers, length of a k-mer in bases, number of buckets (2 to
/// the power of `bucket_bits`), number of sequences, flags as minimap2's MM_I_HPC.
struct IndexHeader {
    std::uint32_t window, k, bucket_bits, sequences, flags;
};

/// What is wrong with the values, or null. The limits are those of minimap2's sketching; the number of buckets never
/// exceeds that of possible minimizers.
inline const char* FaultOfHeader(const IndexHeader& header) {
    if (header.k < 1 || header.k > 28 || header.window < 1 || header.window > 255) {
        return "impossible minimizer sizes";
    }
    if (header.bucket_bits > 2 * header.k || header.bucket_bits > 30) {
        return "impossible number of buckets";
    }
    if ((header.flags & ~static_cast<std::uint32_t>(MM_I_HPC | MM_I_NO_SEQ | MM_I_NO_NAME)) != 0) {
        return "unknown flags";
    }
    return nullptr;
}

/// A reference sequence. All sequences' bases lie one after the other; `offset` is where this one's begin.
struct ReferenceSequence {
    std::string name;
    std::uint64_t offset;
    std::uint32_t length;
};

}  // namespace qel_minimap2
