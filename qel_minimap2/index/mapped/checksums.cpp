#include "qel_minimap2/index/mapped/checksums.h"

// The second header makes the functions of the first choose the widest registers of the processor.
#include <xxhash.h>
// clang-format off
#include <xxh_x86dispatch.h>
// clang-format on

namespace qel_minimap2 {

std::uint64_t ChecksumOf(std::span<const unsigned char> bytes) {
    return XXH3_64bits(bytes.data(), bytes.size());
}

std::uint64_t ChecksumOf(const FileHeader& header) {
    auto copy = header;
    copy.checksum = 0;
    return XXH3_64bits(&copy, sizeof copy);
}

}  // namespace qel_minimap2
