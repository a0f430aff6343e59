#include "qel_minimap2/index/from_mmi/bucket_reader.h"

#include <cstring>

namespace qel_minimap2 {

namespace {

std::uint64_t Load64(const unsigned char* bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

}  // namespace

void BucketReader::ReadBlock(std::size_t block) {
    const auto first = block << table.BitsInBlock(), end = (block + 1) << table.BitsInBlock();
    MakeRoom(block, first, end);
    for (auto bucket = first; bucket < end; ++bucket) {
        ReadBucket(bucket, layout.Bucket(end - 1).End());
    }
}

void BucketReader::MakeRoom(std::size_t block, std::uint64_t first, std::uint64_t end) {
    std::vector<std::uint32_t> key_counts;
    std::uint64_t position_count = 0;
    for (auto bucket = first; bucket < end; ++bucket) {
        const auto& stored = layout.Bucket(bucket);
        key_counts.push_back(stored.key_count);
        position_count += stored.position_count;
    }
    table.MakeRoom(block, key_counts, position_count);
    block_positions = table.Positions(block);
    positions_before = 0;
}

// `position`: sequence number, 0-based position of the k-mer's last base, and strand.
inline void BucketReader::CheckPosition(std::uint64_t position) const {
    const auto sequence = position >> 32U;
    const auto last_base = (position & 0xFFFFFFFFU) >> 1U;
    const auto& sequences = layout.Sequences();
    if (sequence >= sequences.size() || last_base >= sequences[sequence].length || last_base + 1 < layout.Header().k) {
        throw DamagedIndex("a position outside its sequence");
    }
}

// A key's lowest bit is 1 for a minimizer that occurs once. The value is then its position. For the others the value
// is where their list begins among the bucket's positions (upper 32 bits) and how long it is (lower).
void BucketReader::ReadBucket(std::uint64_t bucket, std::uint64_t block_end) {
    const auto& stored = layout.Bucket(bucket);
    positions = window.At(stored.Positions(), stored.End() - stored.Positions(), block_end);
    stored_entries = positions + (stored.Entries() - stored.Positions());
    entries.clear();
    if (stored.position_count > 0) {
        std::memcpy(block_positions + positions_before, positions, stored.position_count * sizeof(std::uint64_t));
    }
    list_sizes.assign(stored.position_count, 0);
    claimed = 0;
    const auto& header = layout.Header();
    const std::uint64_t key_limit = std::uint64_t{1} << (2 * header.k);
    for (std::uint64_t i = 0; i < stored.key_count; ++i) {
        const auto key = Load64(stored_entries + i * 16);
        const auto value = Load64(stored_entries + i * 16 + 8);
        const auto minimizer = (key >> 1U) << header.bucket_bits | bucket;
        if (key >> 1U > key_limit >> header.bucket_bits || minimizer >= key_limit) {
            throw DamagedIndex("an impossible minimizer");
        }
        const bool is_single = (key & 1U) != 0;
        if (is_single) {
            CheckPosition(value);
            sample.Add(minimizer, value, worker);
        } else {
            ReadRepeated(minimizer, value, stored);
        }
        entries.push_back({key, is_single ? value : value + (positions_before << 32U)});
    }
    if (!table.Fill(bucket, entries)) {
        throw DamagedIndex("a duplicate minimizer");
    }
    CheckLists(stored);
    positions_before += stored.position_count;
}

void BucketReader::ReadRepeated(std::uint64_t minimizer, std::uint64_t value, const StoredBucket& stored) {
    const auto begin = value >> 32U;
    const auto count = value & 0xFFFFFFFFU;
    if (count == 0 || begin + count > stored.position_count) {
        throw DamagedIndex("positions outside their list");
    }
    claimed += count;
    if (claimed > stored.position_count || list_sizes[begin] != 0) {
        throw DamagedIndex("positions that belong to two minimizers");
    }
    list_sizes[begin] = static_cast<std::uint32_t>(count);
    std::uint64_t last = 0;
    const auto* next = positions + begin * sizeof last;
    for (auto i = begin; i < begin + count; ++i, next += sizeof last) {
        const auto position = Load64(next);
        CheckPosition(position);
        if (i > begin && position <= last) {
            throw DamagedIndex("positions that are not sorted");
        }
        last = position;
        sample.Add(minimizer, position, worker);
    }
}

// Checks that each position of the bucket belongs to one minimizer. minimap2 does not check this, but a few positions
// that many minimizers claim make one read take minutes.
void BucketReader::CheckLists(const StoredBucket& stored) const {
    std::uint64_t begin = 0;
    while (begin < stored.position_count) {
        const auto size = list_sizes[begin];
        if (size == 0) {
            throw DamagedIndex("positions that belong to no minimizer");
        }
        for (auto i = begin + 1; i < begin + size; ++i) {
            if (list_sizes[i] != 0) {
                throw DamagedIndex("positions that belong to two minimizers");
            }
        }
        begin += size;
    }
}

}  // namespace qel_minimap2
