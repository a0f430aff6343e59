#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

/// Returns the error for a prebuilt index with content that minimap2 never writes.
inline std::runtime_error DamagedIndex(const char* what) {
    return std::runtime_error(std::string("the minimap2 index is damaged: ") + what);
}

/// Where a bucket lies in the file. Nothing in the file is aligned. A bucket consists of
///
/// - the number of its positions (4 bytes);
/// - the positions of the minimizers that occur more than once (8 bytes each);
/// - the number of its minimizers (4 bytes);
/// - for each minimizer, a key and a value (8 bytes each).
struct StoredBucket {
    std::uint64_t offset;
    std::uint32_t position_count, key_count;

    std::uint64_t Positions() const { return offset + sizeof position_count; }
    std::uint64_t Entries() const { return Positions() + std::uint64_t{position_count} * 8 + sizeof key_count; }
    std::uint64_t End() const { return Entries() + std::uint64_t{key_count} * 16; }
};

/// Where the parts of a prebuilt index (version 2 of its format) lie in its file, as the constructor found them. The
/// file must outlive this object. Any thread.
class IndexLayout {
public:
    /// Checks the header, the names and lengths, the sizes of the buckets, and that the file ends after the bases.
    /// Throws std::runtime_error if a check fails, if the index has several parts or lacks its bases, or if the file
    /// cannot be read. Throws std::bad_alloc too.
    explicit IndexLayout(const StoredFile& file);

    const StoredFile& File() const { return file; }
    const IndexHeader& Header() const { return header; }
    const std::vector<ReferenceSequence>& Sequences() const { return sequences; }
    std::uint64_t BucketCount() const { return std::uint64_t{1} << header.bucket_bits; }
    const StoredBucket& Bucket(std::uint64_t bucket) const { return buckets[bucket]; }
    /// The number of bases in all sequences together.
    std::uint64_t BaseCount() const { return base_count; }
    /// The offset in the file of the bases, which are packed as PackedBases describes.
    std::uint64_t Bases() const { return bases; }
    std::uint64_t BaseWords() const { return (base_count + 7) / 8; }

private:
    const StoredFile& file;
    IndexHeader header{};
    std::vector<ReferenceSequence> sequences;
    std::vector<StoredBucket> buckets;
    std::uint64_t base_count = 0;
    std::uint64_t bases = 0;
};

}  // namespace qel_minimap2
