#pragma once

#include <cstdint>
#include <span>

#include "qel_minimap2/index/mapped/index_format.h"

namespace qel_minimap2 {

/// XXH3, 64 bits, seed 0.
std::uint64_t ChecksumOf(std::span<const unsigned char> bytes);

/// The checksum of a section from those of its pieces.
inline std::uint64_t ChecksumOf(std::span<const std::uint64_t> pieces) {
    return ChecksumOf({reinterpret_cast<const unsigned char*>(pieces.data()), pieces.size_bytes()});
}

/// The checksum that the header must hold.
std::uint64_t ChecksumOf(const FileHeader& header);

}  // namespace qel_minimap2
