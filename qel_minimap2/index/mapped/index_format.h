#pragma once

#include <array>
#include <cstdint>

#include <minimap.h>

#include "qel_minimap2/index/index_header.h"

namespace qel_minimap2 {

// The format of a mapped index file; docs/index-format.md describes it. All numbers are in the byte order of the
// machine that made the file. The header shows this order.

constexpr std::array<char, 8> kMappedMagic{'\x89', 'T', 'I', 'D', 'X', '\r', '\n', '\x1a'};
constexpr std::uint32_t kByteOrder = 0x01020304;
constexpr std::uint32_t kOtherByteOrder = 0x04030201;
constexpr std::uint32_t kFormatVersion = 1;
/// In bytes. The header fills one page, and each section begins on a page boundary.
constexpr std::uint64_t kPageSize = 4096;
/// In bytes: the size of each piece of a section except the last piece. A section's checksum is computed from those of
/// its pieces.
constexpr std::uint64_t kPieceSize = std::uint64_t{1} << 20U;
constexpr std::size_t kMostSections = 64;
/// In bytes: a cache line. Each block of the table begins at a multiple of it.
constexpr std::uint64_t kBlockAlignment = 64;

enum class SectionKind : std::uint32_t {
    names = 1,        // One for each sequence, each followed by a NUL.
    lengths = 2,      // One for each sequence, 4 bytes each.
    bases = 3,        // Packed as PackedBases describes.
    buckets = 4,      // A SeedTable::Stretch for each bucket.
    blocks = 5,       // A StoredBlock for each block of buckets.
    table = 6,        // The memory of the blocks.
    occurrences = 7,  // SeedTable::OccurrenceCount, in ascending order of occurrences.
};
constexpr std::uint32_t kSectionKinds = 7;
/// Returns the name of a kind, or "unknown" for a kind that this version does not have.
constexpr const char* NameOf(SectionKind kind) {
    constexpr std::array names{"names", "lengths", "bases", "buckets", "blocks", "table", "occurrences"};
    const auto number = static_cast<std::uint32_t>(kind);
    return number >= 1 && number <= kSectionKinds ? names[number - 1] : "unknown";
}

/// Where a section lies, in bytes. `length` does not include the zeros that fill the section's last page, but
/// `checksum` covers them.
struct Section {
    SectionKind kind;
    std::uint32_t unused;
    std::uint64_t offset, length, checksum;
};

/// The first page of the file. In every version, it begins with the members up to `checksum`, which covers the page.
struct FileHeader {
    std::array<char, 8> magic;
    std::uint32_t byte_order, version;
    std::uint64_t checksum;  // Of the page with 0 in these 8 bytes.
    std::uint64_t file_size;
    std::array<char, 4> minimap2_index;  // MM_IDX_MAGIC of the minimap2 with which the index was made.
    std::uint32_t section_count;
    IndexHeader index;
    std::uint32_t unused;
    std::uint64_t bases, minimizers;
    std::array<Section, kMostSections> sections;
    std::array<std::uint8_t, kPageSize - 80 - kMostSections * sizeof(Section)> padding;
};
static_assert(sizeof(FileHeader) == kPageSize);

/// How many groups, and how many positions of repeated minimizers, a block has.
struct StoredBlock {
    std::uint32_t groups, positions;
};

constexpr std::uint64_t RoundedUp(std::uint64_t size, std::uint64_t unit) {
    return (size + unit - 1) / unit * unit;
}

/// Returns the number of pieces of a section of `length` bytes.
constexpr std::uint64_t PieceCount(std::uint64_t length) {
    return (length + kPieceSize - 1) / kPieceSize;
}

}  // namespace qel_minimap2
