#pragma once

#include <cstdint>
#include <span>

#include "qel_minimap2/index/mapped/index_format.h"

namespace qel_minimap2 {

/// Returns the 64-bit XXH3 checksum with seed 0.
std::uint64_t ChecksumOf(std::span<const unsigned char> bytes);

/// Returns the checksum of a section, computed from the checksums of its pieces.
inline std::uint64_t ChecksumOf(std::span<const std::uint64_t> pieces) {
    return ChecksumOf({reinterpret_cast<const unsigned char*>(pieces.data()), pieces.size_bytes()});
}

/// Returns the correct value of `header.checksum`.
std::uint64_t ChecksumOf(const FileHeader& header);

}  // namespace qel_minimap2
