#pragma once

#include <array>
#include <cstdint>

#include <minimap.h>

#include "qel_minimap2/index/index_header.h"

namespace qel_minimap2 {

// The file of a mapped index; docs/index-format.md describes it. All numbers are in the byte order of the machine that
// made the file, and the header says which that is.

constexpr std::array<char, 8> kMappedMagic{'\x89', 'T', 'I', 'D', 'X', '\r', '\n', '\x1a'};
constexpr std::uint32_t kByteOrder = 0x01020304;
constexpr std::uint32_t kOtherByteOrder = 0x04030201;
constexpr std::uint32_t kFormatVersion = 1;
/// The header fills one page, and each section begins on one.
constexpr std::uint64_t kPageSize = 4096;
/// A section's checksum is that of its pieces' checksums. A piece has this many bytes, the last one the rest.
constexpr std::uint64_t kPieceSize = std::uint64_t{1} << 20U;
constexpr std::size_t kMostSections = 64;
/// Each block of the table begins at a multiple of this, a cache line.
constexpr std::uint64_t kBlockAlignment = 64;

enum class SectionKind : std::uint32_t {
    names = 1,        // Of the sequences, each followed by a NUL.
    lengths = 2,      // Of the sequences, 4 bytes each.
    bases = 3,        // Packed as PackedBases describes, in words of 4 bytes.
    buckets = 4,      // A SeedTable::Stretch for each bucket.
    blocks = 5,       // A StoredBlock for each block of buckets.
    table = 6,        // The memory of the blocks.
    occurrences = 7,  // OccurrenceCounts::Entry, by rising number of occurrences.
};
constexpr std::uint32_t kSectionKinds = 7;
/// "unknown" for a kind that is not in the list.
constexpr const char* NameOf(SectionKind kind) {
    constexpr std::array names{"names", "lengths", "bases", "buckets", "blocks", "table", "occurrences"};
    const auto number = static_cast<std::uint32_t>(kind);
    return number >= 1 && number <= kSectionKinds ? names[number - 1] : "unknown";
}

/// `length` leaves out the zeros that fill the section's last page; its checksum covers them.
struct Section {
    SectionKind kind;
    std::uint32_t unused;
    std::uint64_t offset, length, checksum;
};

/// The first page of the file. All versions have the members up to `checksum`, which covers the same bytes in all.
struct FileHeader {
    std::array<char, 8> magic;
    std::uint32_t byte_order, version;
    std::uint64_t checksum;  // Of the page, as if these 8 bytes were 0.
    std::uint64_t file_size;
    std::array<char, 4> minimap2_index;  // How a prebuilt index of the same minimap2 begins.
    std::uint32_t section_count;
    IndexHeader index;
    std::uint32_t unused;
    std::uint64_t bases, minimizers;
    std::array<Section, kMostSections> sections;
    std::array<std::uint8_t, kPageSize - 80 - kMostSections * sizeof(Section)> padding;
};
static_assert(sizeof(FileHeader) == kPageSize);

/// The number of groups and of positions of repeated minimizers in a block.
struct StoredBlock {
    std::uint32_t groups, positions;
};

constexpr std::uint64_t RoundedUp(std::uint64_t size, std::uint64_t unit) {
    return (size + unit - 1) / unit * unit;
}

/// The number of pieces of a section. `length` in bytes.
constexpr std::uint64_t PieceCount(std::uint64_t length) {
    return (length + kPieceSize - 1) / kPieceSize;
}

}  // namespace qel_minimap2
