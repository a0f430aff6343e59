#include "qel_minimap2/index/from_mmi/bucket_reader.h"

#include <algorithm>

namespace qel_minimap2 {

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
    positions = table.Positions(block);
    positions_before = 0;
}

// A key's lowest bit is 1 for a minimizer that occurs once. The value is then its position. For the others the value
// is where their list begins among the bucket's positions (upper 32 bits) and how long it is (lower).
void BucketReader::ReadBucket(std::uint64_t bucket, std::uint64_t block_end) {
    const auto& stored = layout.Bucket(bucket);
    const auto* const bytes = window.At(stored.Positions(), stored.End() - stored.Positions(), block_end);
    std::copy_n(bytes, stored.position_count * sizeof *positions, reinterpret_cast<unsigned char*>(positions));
    entries.resize(stored.key_count);
    std::copy_n(bytes + (stored.Entries() - stored.Positions()), stored.key_count * sizeof entries[0],
                reinterpret_cast<unsigned char*>(entries.data()));
    is_taken.assign(stored.position_count, 0);
    const auto& header = layout.Header();
    const std::uint64_t key_limit = std::uint64_t{1} << (2 * header.k);
    for (auto& [key, value] : entries) {
        const auto minimizer = (key >> 1U) << header.bucket_bits | bucket;
        if (key >> 1U > key_limit >> header.bucket_bits || minimizer >= key_limit) {
            throw DamagedIndex("an impossible minimizer");
        }
        if ((key & 1U) != 0) {
            TakePosition(minimizer, value);
        } else {
            TakeList(minimizer, value >> 32U, value & 0xFFFFFFFFU);
            value += positions_before << 32U;
        }
    }
    if (!table.Fill(bucket, entries)) {
        throw DamagedIndex("a duplicate minimizer");
    }
    if (std::find(is_taken.begin(), is_taken.end(), 0) != is_taken.end()) {
        throw DamagedIndex("positions that belong to no minimizer");
    }
    positions += stored.position_count;
    positions_before += stored.position_count;
}

// `position`: sequence number, 0-based position of the k-mer's last base, and strand.
inline void BucketReader::TakePosition(std::uint64_t minimizer, std::uint64_t position) {
    const auto sequence = position >> 32U;
    const auto last_base = (position & 0xFFFFFFFFU) >> 1U;
    const auto& sequences = layout.Sequences();
    if (sequence >= sequences.size() || last_base >= sequences[sequence].length || last_base + 1 < layout.Header().k) {
        throw DamagedIndex("a position outside its sequence");
    }
    sample.Add(minimizer, position, worker);
}

// minimap2 does not check that each position belongs to one minimizer, but a few positions that many minimizers claim
// make one read take minutes.
void BucketReader::TakeList(std::uint64_t minimizer, std::uint64_t begin, std::uint64_t count) {
    if (count == 0 || begin + count > is_taken.size()) {
        throw DamagedIndex("positions outside their list");
    }
    for (auto i = begin; i < begin + count; ++i) {
        if (is_taken[i]++ != 0) {
            throw DamagedIndex("positions that belong to two minimizers");
        }
        if (i > begin && positions[i] <= positions[i - 1]) {
            throw DamagedIndex("positions that are not sorted");
        }
        TakePosition(minimizer, positions[i]);
    }
}

}  // namespace qel_minimap2
