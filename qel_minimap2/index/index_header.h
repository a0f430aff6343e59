#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include <minimap.h>

namespace qel_minimap2 {

/// The values at the start of a prebuilt index: window in k-mers, length of a k-mer in bases, number of buckets (2 to
/// the power of `bucket_bits`), number of sequences, and flags such as minimap2's MM_I_HPC.
struct IndexHeader {
    std::uint32_t window, k, bucket_bits, sequences, flags;
};

/// Returns what is wrong with the values, or null if nothing is. The limits of the window and of k are those of
/// minimap2's mm_sketch. The number of buckets may exceed neither the number of possible minimizers nor 2^30.
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

/// Returns why a reference sequence must not have this name, or null if it may. The reason is worded to follow "holds".
inline const char* FaultOfSequenceName(std::string_view name) {
    if (name.empty()) {
        return "a sequence without a name";
    }
    if (name == "*") {
        return "a sequence named '*', which SAM reserves for unmapped reads";
    }
    // SAM does not allow bytes above 0x7f, but programs that read SAM accept them.
    const bool printable = std::all_of(name.begin(), name.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte > 0x20 && byte != 0x7f;
    });
    return printable ? nullptr : "a sequence whose name has blanks or control characters";
}

/// A reference sequence. The bases of all sequences lie one after the other; those of this sequence begin at `offset`.
struct ReferenceSequence {
    std::string name;
    std::uint64_t offset;
    std::uint32_t length;
};

}  // namespace qel_minimap2
