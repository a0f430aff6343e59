#include "qel_minimap2/index/from_fasta/block_filler.h"

#include <numeric>

namespace qel_minimap2 {

SequencePlaces::SequencePlaces(const std::vector<ReferenceSequence>& sequences) {
    std::uint64_t end = 0;
    for (std::size_t i = 0; i < sequences.size(); ++i) {
        const auto& sequence = sequences[i];
        if (sequence.length > 0) {
            starts.push_back({sequence.offset, i});
            end = sequence.offset + sequence.length;
        }
    }
    starts.push_back({end, 0});
    std::uint32_t start = 0;
    for (std::uint64_t offset = 0; offset < end; offset += std::uint64_t{1} << kShift) {
        while (starts[start + 1].offset <= offset) {
            ++start;
        }
        first_of.push_back(start);
    }
}

void BlockFiller::Fill(std::size_t block) {
    Gather(block);
    Sort();
    MakeRoom(block);
    Insert(block);
    if (sink != nullptr) {
        sink->Take(block, table.ContentOf(block), table.TakeMemory(block));
    }
}

void BlockFiller::Gather(std::size_t block) {
    entries.clear();
    for (const auto& piece : pieces) {
        const auto of_block = piece.OfBlock(block);
        entries.insert(entries.end(), of_block.begin(), of_block.end());
    }
    other.resize(entries.size());
}

// A radix sort by bucket and key, the lowest bits first. It is stable, so entries with the same bucket and key stay in
// the order of their offsets.
void BlockFiller::Sort() {
    constexpr unsigned kBits = 11;
    for (unsigned shift = 0; shift < format.SortBitCount(); shift += kBits) {
        const auto digit = [&](std::uint64_t entry) { return format.SortBits(entry) >> shift & ((1U << kBits) - 1); };
        std::vector<std::size_t> next((1U << kBits) + 1);
        for (const auto entry : entries) {
            ++next[digit(entry) + 1];
        }
        std::partial_sum(next.begin(), next.end(), next.begin());
        for (const auto entry : entries) {
            other[next[digit(entry)]++] = entry;
        }
        entries.swap(other);
    }
}

std::size_t BlockFiller::EndOfEqual(std::size_t begin) const {
    auto end = begin + 1;
    while (end < entries.size() && format.SortBits(entries[end]) == format.SortBits(entries[begin])) {
        ++end;
    }
    return end;
}

void BlockFiller::MakeRoom(std::size_t block) const {
    std::vector<std::uint32_t> key_counts(std::size_t{1} << table.BitsInBlock());
    std::uint64_t position_count = 0;
    for (std::size_t begin = 0; begin < entries.size();) {
        const auto end = EndOfEqual(begin);
        ++key_counts[format.BucketOf(format.SortBits(entries[begin]))];
        position_count += end - begin > 1 ? end - begin : 0;
        begin = end;
    }
    table.MakeRoom(block, key_counts, position_count, sink != nullptr ? sink->SpareMemory() : Pages());
}

// Returns a position in minimap2's format: number of the sequence, 0-based position of the minimizer's last base,
// strand.
std::uint64_t BlockFiller::PositionOf(std::uint64_t entry) const {
    const auto place = places.Of(format.OffsetOf(entry));
    return place.sequence << 32U | place.position << 1U | format.StrandOf(entry);
}

void BlockFiller::Insert(std::size_t block) const {
    auto* const positions = table.Positions(block);
    std::uint64_t used = 0;
    std::vector<SeedTable::Entry> of_bucket;
    for (std::size_t begin = 0; begin < entries.size();) {
        const auto end = EndOfEqual(begin);
        const auto sort_bits = format.SortBits(entries[begin]);
        const auto key = format.KeyOf(sort_bits) << 1U;
        if (end - begin == 1) {
            of_bucket.push_back({key | 1U, PositionOf(entries[begin])});
        } else {
            of_bucket.push_back({key, used << 32U | (end - begin)});
            for (auto i = begin; i < end; ++i) {
                positions[used++] = PositionOf(entries[i]);
            }
        }
        begin = end;
        const auto bucket = format.BucketOf(sort_bits);
        if (begin == entries.size() || format.BucketOf(format.SortBits(entries[begin])) != bucket) {
            table.Fill((block << table.BitsInBlock()) + bucket, of_bucket);
            of_bucket.clear();
        }
    }
}

}  // namespace qel_minimap2
