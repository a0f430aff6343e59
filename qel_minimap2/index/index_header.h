#pragma once

#include <cstdint>
#include <string>

namespace qel_minimap2 {

/// The values at the start of a prebuilt index: window in k-mers, length of a k-mer in bases, number of buckets (2 to
/// the power of `bucket_bits`), number of sequences, flags as minimap2's MM_I_HPC.
struct IndexHeader {
    std::uint32_t window, k, bucket_bits, sequences, flags;
};

/// A reference sequence. All sequences' bases lie one after the other; `offset` is where this one's begin.
struct ReferenceSequence {
    std::string name;
    std::uint64_t offset;
    std::uint32_t length;
};

}  // namespace qel_minimap2
