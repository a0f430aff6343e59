#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "qel_minimap2/index/mapped_file.h"

namespace qel_minimap2 {

/// The error of a prebuilt index whose content cannot be what minimap2 wrote.
inline std::runtime_error DamagedIndex(const char* what) {
    return std::runtime_error(std::string("the minimap2 index is damaged: ") + what);
}

/// The values at the start of a prebuilt index.
struct IndexHeader {
    std::uint32_t window, k, bucket_bits, sequences, flags;
};

/// A reference sequence. All sequences' bases lie one after the other; `offset` is where this one's begin.
struct ReferenceSequence {
    std::string name;
    std::uint64_t offset;
    std::uint32_t length;
};

/// A bucket as it stands in the file: the positions of the minimizers that occur more than once, 8 bytes each, then
/// for each minimizer a key and a value of 8 bytes. Nothing in the file is aligned.
struct StoredBucket {
    const unsigned char* positions;
    std::uint32_t position_count;
    const unsigned char* entries;
    std::uint32_t key_count;

    const unsigned char* End() const { return entries + std::uint64_t{key_count} * 16; }
};

/// Where the parts of a prebuilt index (version 2: header, names and lengths, buckets, packed bases) lie in its file.
/// Refers to the file. Any thread.
class IndexLayout {
public:
    /// Checks the header, the names and lengths, and that the parts make up the file to its last byte. Throws
    /// std::runtime_error for what is cut or damaged, has several parts or lacks its bases.
    explicit IndexLayout(const MappedFile& file);

    const IndexHeader& Header() const { return header; }
    const std::vector<ReferenceSequence>& Sequences() const { return sequences; }
    std::uint64_t BucketCount() const { return std::uint64_t{1} << header.bucket_bits; }
    StoredBucket Bucket(std::uint64_t bucket) const;
    /// Of all sequences together.
    std::uint64_t BaseCount() const { return base_count; }
    /// Four bits a base (0 to 3: A, C, G, T; 4: any other), the first in the lowest bits, in words of 4 bytes.
    const unsigned char* Bases() const { return bases; }
    std::uint64_t BaseWords() const { return (base_count + 7) / 8; }

private:
    IndexHeader header{};
    std::vector<ReferenceSequence> sequences;
    std::vector<const unsigned char*> buckets;
    std::uint64_t base_count = 0;
    const unsigned char* bases = nullptr;
};

}  // namespace qel_minimap2
