#include "qel_minimap2/index/from_mmi/index_layout.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include <minimap.h>

namespace qel_minimap2 {

namespace {

constexpr std::size_t kMagicSize = 4;

// Small, because IndexLayout's constructor reads only the few bytes that describe each bucket and skips the bucket's
// content.
constexpr std::size_t kChunk = 4096;
constexpr std::uint64_t kAhead = std::uint64_t{1} << 24U;

// Takes unaligned values from the file in order.
class Cursor {
public:
    explicit Cursor(const StoredFile& file) : file(file), window(file, kChunk), size(file.Size()) {}

    template <typename T>
    T Take() {
        T value;
        std::memcpy(&value, Bytes(sizeof(T)), sizeof(T));
        return value;
    }

    // The bytes are valid until the next call to Take or Bytes.
    const unsigned char* Bytes(std::size_t count) {
        const auto start = Skip(count, 1);
        return window.At(start, count, size);
    }

    // Skips `count` elements of `element_size` bytes each and returns their offset.
    std::uint64_t Skip(std::uint64_t count, std::uint64_t element_size) {
        if (count > Left() / element_size) {
            throw std::runtime_error("the minimap2 index ends too early");
        }
        const auto start = next;
        next += count * element_size;
        return start;
    }

    // Without prefetching, each access to the file would wait for the disk: most of the file is skipped, so the system
    // cannot predict which part is read next.
    void LoadAhead() {
        constexpr std::size_t kStep = std::size_t{1} << 19U;
        for (ahead = std::max(ahead, next); ahead < std::min(next + kAhead, size); ahead += kStep) {
            file.Prefetch(ahead, kStep);
        }
    }

    std::uint64_t Left() const { return size - next; }
    std::uint64_t Next() const { return next; }

private:
    const StoredFile& file;
    FileWindow window;
    const std::uint64_t size;
    std::uint64_t next = 0;
    std::uint64_t ahead = 0;  // Prefetch was called up to this offset.
};

IndexHeader TakeHeader(Cursor& cursor) {
    const auto header = cursor.Take<IndexHeader>();
    if (const char* const fault = FaultOfHeader(header)) {
        throw DamagedIndex(fault);
    }
    if ((header.flags & MM_I_NO_SEQ) != 0) {
        throw std::runtime_error("the minimap2 index was built without its sequences, which alignment needs");
    }
    return header;
}

ReferenceSequence TakeSequence(Cursor& cursor, std::uint64_t offset) {
    const auto name_length = cursor.Take<std::uint8_t>();
    std::string name(reinterpret_cast<const char*>(cursor.Bytes(name_length)), name_length);
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
    bucket.offset = cursor.Next();
    bucket.position_count = cursor.Take<std::uint32_t>();
    // minimap2 computes the size of this list in bytes as an int.
    if (bucket.position_count > std::numeric_limits<std::int32_t>::max() / sizeof(std::uint64_t)) {
        throw DamagedIndex("a list of positions that is too long");
    }
    cursor.Skip(bucket.position_count, sizeof(std::uint64_t));
    bucket.key_count = cursor.Take<std::uint32_t>();
    cursor.Skip(bucket.key_count, 2 * sizeof(std::uint64_t));
    return bucket;
}

}  // namespace

IndexLayout::IndexLayout(const StoredFile& file) : file(file) {
    Cursor cursor(file);
    cursor.Skip(kMagicSize, 1);
    header = TakeHeader(cursor);
    for (std::uint32_t i = 0; i < header.sequences; ++i) {
        sequences.push_back(TakeSequence(cursor, base_count));
        base_count += sequences.back().length;
    }
    for (std::uint64_t bucket = 0; bucket < BucketCount(); ++bucket) {
        cursor.LoadAhead();
        buckets.push_back(TakeBucket(cursor));
    }
    bases = cursor.Skip(BaseWords(), sizeof(std::uint32_t));
    if (cursor.Left() > 0) {
        const bool part =
            cursor.Left() >= kMagicSize && std::memcmp(cursor.Bytes(kMagicSize), MM_IDX_MAGIC, kMagicSize) == 0;
        throw std::runtime_error(
            part ? "the minimap2 index has several parts; rebuild it with a larger value of minimap2's option -I"
                 : "the minimap2 index is damaged: bytes follow its end");
    }
}

}  // namespace qel_minimap2
