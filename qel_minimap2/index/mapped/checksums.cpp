#include "qel_minimap2/index/mapped/checksums.h"

#include <xxhash.h>
#if defined(__x86_64__)  // Makes XXH3_64bits use the widest registers of the processor.
#include <xxh_x86dispatch.h>
#endif

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
