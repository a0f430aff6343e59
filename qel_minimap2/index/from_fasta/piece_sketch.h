#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/from_fasta/reference_reader.h"
#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/minimizer_list.h"
#include "qel_minimap2/pages.h"

namespace qel_minimap2 {

/// The format of an entry: 8 bytes with a minimizer of a reference and its position. The bits that choose the
/// minimizer's block are left out. From the highest bit down, an entry has the bucket within the block, the key's bits,
/// the offset of the minimizer's last base among the bases of all sequences, and the strand.
class EntryFormat {
public:
    EntryFormat(const IndexHeader& header, unsigned bits_in_block)
        : bucket_bits(header.bucket_bits), bits_in_block(bits_in_block), key_bits(2 * header.k - header.bucket_bits) {}

    std::size_t BlockCount() const { return std::size_t{1} << (bucket_bits - bits_in_block); }
    unsigned BlockOf(std::uint64_t minimizer) const {
        return static_cast<unsigned>((minimizer & ((1U << bucket_bits) - 1)) >> bits_in_block);
    }
    std::uint64_t Entry(std::uint64_t minimizer, std::uint64_t offset, std::uint64_t strand) const {
        const auto bucket = minimizer & ((1U << bits_in_block) - 1);
        return (bucket << key_bits | minimizer >> bucket_bits) << PlaceBits() | offset << 1U | strand;
    }
    /// The bucket within its block and the key's bits.
    std::uint32_t SortBits(std::uint64_t entry) const { return static_cast<std::uint32_t>(entry >> PlaceBits()); }
    unsigned SortBitCount() const { return bits_in_block + key_bits; }
    unsigned BucketOf(std::uint32_t sort_bits) const { return sort_bits >> key_bits; }
    std::uint64_t KeyOf(std::uint32_t sort_bits) const { return sort_bits & ((1U << key_bits) - 1); }
    std::uint64_t OffsetOf(std::uint64_t entry) const { return entry << SortBitCount() >> SortBitCount() >> 1U; }
    std::uint64_t StrandOf(std::uint64_t entry) const { return entry & 1U; }

private:
    unsigned PlaceBits() const { return 64 - SortBitCount(); }

    unsigned bucket_bits, bits_in_block, key_bits;
};

/// The entries of one piece of a reference, sorted by block, and within a block by offset.
struct SketchedPiece {
    Pages entries;
    std::vector<std::uint32_t> begins;  // For each block, where its entries begin; then the number of entries.

    std::span<const std::uint64_t> OfBlock(std::size_t block) const {
        const auto* const all = reinterpret_cast<const std::uint64_t*>(entries.Data());
        return {all + begins[block], all + begins[block + 1]};
    }
};

/// Sketches pieces of a reference. Not thread-safe: each thread uses its own object.
class PieceSketcher {
public:
    /// `header` must have an odd k and no homopolymer compression.
    PieceSketcher(const IndexHeader& header, const EntryFormat& format, const Reference& reference)
        : header(header), format(format), reference(reference) {}

    /// Returns the entries of the minimizers whose last bases have offsets in [begin, end). The minimizers are those
    /// of the complete sequences, not of the piece alone. Throws std::bad_alloc.
    SketchedPiece Sketch(std::uint64_t begin, std::uint64_t end);

private:
    void SketchSequence(const ReferenceSequence& sequence, std::uint64_t begin, std::uint64_t end);

    const IndexHeader& header;
    const EntryFormat& format;
    const Reference& reference;
    std::string unpacked;
    MinimizerList minimizers;       // Of the part that was sketched last.
    std::vector<mm128_t> of_piece;  // In x the minimizer, in y its offset among all bases and its strand.
};

}  // namespace qel_minimap2
