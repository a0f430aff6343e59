#include "qel_minimap2/index/index_layout.h"

#include <cstring>
#include <limits>
#include <utility>

#include <minimap.h>

#include "qel_minimap2/index/sequence_name.h"

namespace qel_minimap2 {

namespace {

constexpr std::size_t kMagicSize = 4;

// Takes values from the mapped file, which has no alignment, in order.
class Cursor {
public:
    Cursor(const unsigned char* begin, std::size_t size) : next(begin), left(size) {}

    template <typename T>
    T Take() {
        T value;
        std::memcpy(&value, Skip(1, sizeof(T)), sizeof(T));
        return value;
    }

    // The start of `count` elements of `size` bytes each.
    const unsigned char* Skip(std::uint64_t count, std::uint64_t size) {
        if (count > left / size) {
            throw std::runtime_error("the minimap2 index ends too early");
        }
        const auto* const start = next;
        next += count * size;
        left -= count * size;
        return start;
    }

    std::size_t Left() const { return left; }
    const unsigned char* Next() const { return next; }

private:
    const unsigned char* next;
    std::size_t left;
};

IndexHeader TakeHeader(Cursor& cursor) {
    const auto header = cursor.Take<IndexHeader>();
    // The limits of minimap2's sketching; the number of buckets never exceeds that of the minimizers.
    if (header.k < 1 || header.k > 28 || header.window < 1 || header.window > 255) {
        throw DamagedIndex("impossible minimizer sizes");
    }
    if (header.bucket_bits > 2 * header.k || header.bucket_bits > 30) {
        throw DamagedIndex("impossible number of buckets");
    }
    if ((header.flags & ~static_cast<std::uint32_t>(MM_I_HPC | MM_I_NO_SEQ | MM_I_NO_NAME)) != 0) {
        throw DamagedIndex("unknown flags");
    }
    if ((header.flags & MM_I_NO_SEQ) != 0) {
        throw std::runtime_error("the minimap2 index was built without its sequences, which alignment needs");
    }
    return header;
}

ReferenceSequence TakeSequence(Cursor& cursor, std::uint64_t offset) {
    const auto name_length = cursor.Take<std::uint8_t>();
    std::string name(reinterpret_cast<const char*>(cursor.Skip(name_length, 1)), name_length);
    if (const char* const fault = FaultOfSequenceName(name)) {
        throw std::runtime_error(std::string("the minimap2 index holds ") + fault);
    }
    const auto length = cursor.Take<std::uint32_t>();
    if (length > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
        throw DamagedIndex("a sequence of more than 2^31 - 1 bases");
    }
    return {std::move(name), offset, length};
}

StoredBucket TakeBucket(Cursor& cursor) {
    StoredBucket bucket{};
    bucket.position_count = cursor.Take<std::uint32_t>();
    // minimap2 computes the size of the list in bytes as an int.
    if (bucket.position_count > std::numeric_limits<std::int32_t>::max() / sizeof(std::uint64_t)) {
        throw DamagedIndex("too long a list of positions");
    }
    bucket.positions = cursor.Skip(bucket.position_count, sizeof(std::uint64_t));
    bucket.key_count = cursor.Take<std::uint32_t>();
    bucket.entries = cursor.Skip(bucket.key_count, 2 * sizeof(std::uint64_t));
    return bucket;
}

}  // namespace

IndexLayout::IndexLayout(const MappedFile& file) {
    Cursor cursor(file.Data(), file.Size());
    cursor.Skip(kMagicSize, 1);
    header = TakeHeader(cursor);
    for (std::uint32_t i = 0; i < header.sequences; ++i) {
        sequences.push_back(TakeSequence(cursor, base_count));
        base_count += sequences.back().length;
    }
    for (std::uint64_t bucket = 0; bucket < BucketCount(); ++bucket) {
        buckets.push_back(cursor.Next());
        TakeBucket(cursor);
    }
    bases = cursor.Skip(BaseWords(), sizeof(std::uint32_t));
    if (cursor.Left() > 0) {
        const bool part = cursor.Left() >= kMagicSize && std::memcmp(cursor.Next(), MM_IDX_MAGIC, kMagicSize) == 0;
        throw std::runtime_error(part ? "the minimap2 index has several parts; build it with a larger -I"
                                      : "the minimap2 index is damaged: bytes follow its end");
    }
}

StoredBucket IndexLayout::Bucket(std::uint64_t bucket) const {
    Cursor cursor(buckets[bucket], static_cast<std::size_t>(bases - buckets[bucket]));
    return TakeBucket(cursor);
}

}  // namespace qel_minimap2
