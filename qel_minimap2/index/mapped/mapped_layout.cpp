#include "qel_minimap2/index/mapped/mapped_layout.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <string>

#include "qel_minimap2/index/mapped/checksums.h"
#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/parallel.h"

namespace qel_minimap2 {

namespace {

// `bytes` must be complete pages.
bool HasImpossibleBase(std::span<const unsigned char> bytes) {
    std::uint64_t impossible = 0;
    const auto* const codes = reinterpret_cast<const std::uint64_t*>(bytes.data());
    for (std::size_t i = 0; i < bytes.size() / sizeof *codes; ++i) {
        impossible |= ImpossibleCodes(codes[i]);
    }
    return impossible != 0;
}

void CheckHeader(const FileHeader& header, std::uint64_t size) {
    if (header.byte_order == kOtherByteOrder) {
        throw std::runtime_error(
            "the index was made on a machine with another byte order; make it again with tavik_index");
    }
    if (header.checksum != ChecksumOf(header)) {
        throw DamagedFile("its header does not match its checksum");
    }
    if (header.byte_order != kByteOrder) {
        throw DamagedFile("an unknown byte order");
    }
    if (header.version < kFormatVersion) {
        throw DamagedFile("an unknown version");
    }
    if (header.version > kFormatVersion) {
        throw std::runtime_error("the index was made by a newer version; make it again with tavik_index");
    }
    if (std::memcmp(header.minimap2_index.data(), MM_IDX_MAGIC, header.minimap2_index.size()) != 0) {
        throw std::runtime_error("the index was made with another version of minimap2; make it again with tavik_index");
    }
    if (header.file_size != size) {
        throw DamagedFile("it has " + std::to_string(size) + " bytes and should have " +
                          std::to_string(header.file_size));
    }
    if (const char* const fault = FaultOfHeader(header.index)) {
        throw DamagedFile(fault);
    }
}

// The sections, each padded to complete pages, must fill the file after the header without gaps.
void CheckSections(const FileHeader& header) {
    if (header.section_count > kMostSections) {
        throw DamagedFile("too many sections");
    }
    std::uint64_t offset = kPageSize;
    std::uint32_t kinds = 0;
    for (const auto& section : std::span(header.sections).first(header.section_count)) {
        if (section.offset != offset || section.length > header.file_size - offset ||
            RoundedUp(section.length, kPageSize) > header.file_size - offset) {
            throw DamagedFile("a section out of place");
        }
        offset += RoundedUp(section.length, kPageSize);
        const auto kind = static_cast<std::uint32_t>(section.kind);
        if (kind >= 1 && kind <= kSectionKinds) {
            if ((kinds >> kind & 1U) != 0) {
                throw DamagedFile("two sections of one kind");
            }
            kinds |= 1U << kind;
        }
    }
    if (kinds != (2U << kSectionKinds) - 2) {
        throw DamagedFile("a section is missing");
    }
    if (offset != header.file_size) {
        throw DamagedFile("bytes that belong to no section");
    }
}

}  // namespace

FileHeader CheckedHeader(std::span<const unsigned char> start, std::uint64_t size) {
    FileHeader header{};
    if (start.size() < sizeof header) {
        throw DamagedFile("it is cut short, to " + std::to_string(size) + " bytes");
    }
    std::memcpy(&header, start.data(), sizeof header);
    CheckHeader(header, size);
    CheckSections(header);
    return header;
}

const Section& MappedLayout::SectionOf(SectionKind kind) const {
    const auto sections = Sections();
    return *std::find_if(sections.begin(), sections.end(), [kind](const Section& s) { return s.kind == kind; });
}

void MappedLayout::CheckChecksums() const {
    struct Piece {
        std::span<const unsigned char> bytes;
        bool has_bases;
        std::uint64_t checksum;
    };
    std::vector<Piece> pieces;
    for (const auto& section : Sections()) {
        const auto size = RoundedUp(section.length, kPageSize);
        for (std::uint64_t begin = 0; begin < size; begin += kPieceSize) {
            pieces.push_back({file.subspan(section.offset + begin, std::min(kPieceSize, size - begin)),
                              section.kind == SectionKind::bases, 0});
        }
    }
    std::atomic<bool> has_impossible_base = false;
    ForEach(pieces.size(), [&](std::size_t item, unsigned) {
        auto& [bytes, has_bases, checksum] = pieces[item];
        checksum = ChecksumOf(bytes);
        if (has_bases && HasImpossibleBase(bytes)) {  // Checked here because the bytes are still cached.
            has_impossible_base = true;
        }
    });
    auto piece = pieces.begin();
    for (const auto& section : Sections()) {
        std::vector<std::uint64_t> checksums;
        for (auto left = PieceCount(section.length); left > 0; --left, ++piece) {
            checksums.push_back(piece->checksum);
        }
        if (ChecksumOf(checksums) != section.checksum) {
            throw DamagedFile("the bytes from " + std::to_string(section.offset) + " on do not match their checksum");
        }
    }
    if (has_impossible_base) {
        throw DamagedFile("invalid base codes");
    }
}

void MappedLayout::CheckContent() const {
    CheckNames();
    CheckTable();
    CheckCounts();
}

void MappedLayout::CheckNames() const {
    auto names = At<char>(SectionKind::names);
    for (std::uint32_t i = 0; i < header.index.sequences; ++i) {
        const auto end = std::find(names.begin(), names.end(), '\0');
        if (end == names.end()) {
            throw DamagedFile("a name is missing");
        }
        const auto length = static_cast<std::size_t>(end - names.begin());
        if (const char* const fault = FaultOfSequenceName({names.data(), length})) {
            throw std::runtime_error(std::string("the index holds ") + fault);
        }
        names = names.subspan(length + 1);
    }
    if (SectionOf(SectionKind::lengths).length != header.index.sequences * sizeof(std::uint32_t)) {
        throw DamagedFile("the number of lengths is not the number of its sequences");
    }
    std::uint64_t bases = 0;
    for (const auto length : Lengths()) {
        if (length > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
            throw DamagedFile("a sequence of more than 2^31 - 1 bases");
        }
        bases += length;
    }
    if (bases != header.bases || SectionOf(SectionKind::bases).length != (bases + 7) / 8 * sizeof(std::uint32_t)) {
        throw DamagedFile("the number of its bases is not the sum of its lengths");
    }
}

void MappedLayout::CheckTable() const {
    const SeedTable::Shape shape(header.index.k, header.index.bucket_bits);
    const auto stretches = At<SeedTable::Stretch>(SectionKind::buckets);
    const auto blocks = At<StoredBlock>(SectionKind::blocks);
    if (SectionOf(SectionKind::buckets).length != sizeof(SeedTable::Stretch) << header.index.bucket_bits ||
        SectionOf(SectionKind::blocks).length != shape.BlockCount() * sizeof(StoredBlock)) {
        throw DamagedFile("the wrong number of buckets");
    }
    std::uint64_t end = 0;
    for (const auto& block : blocks) {
        if (block.positions > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
            throw DamagedFile("too many positions in a block");
        }
        end = RoundedUp(end, kBlockAlignment) + shape.SizeOf(block.groups, block.positions);
    }
    if (end != SectionOf(SectionKind::table).length) {
        throw DamagedFile("the size of its table does not match its blocks");
    }
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        if (std::uint64_t{stretches[i].begin} + stretches[i].Groups() > blocks[i >> shape.bits_in_block].groups) {
            throw DamagedFile("a bucket outside its block");
        }
    }
}

void MappedLayout::CheckCounts() const {
    const auto counts = At<SeedTable::OccurrenceCount>(SectionKind::occurrences);
    std::uint64_t last = 0, minimizers = 0;
    for (const auto& count : counts) {
        if (count.occurrences <= last || count.occurrences >= std::numeric_limits<std::int32_t>::max() ||
            count.minimizers == 0 || count.minimizers > header.minimizers - minimizers) {
            throw DamagedFile("impossible numbers of occurrences");
        }
        last = count.occurrences;
        minimizers += count.minimizers;
    }
    if (minimizers != header.minimizers || SectionOf(SectionKind::occurrences).length % sizeof counts[0] != 0) {
        throw DamagedFile("its counts of occurrences do not match its minimizers");
    }
}

SeedTable::Parts MappedLayout::Table() const {
    const SeedTable::Shape shape(header.index.k, header.index.bucket_bits);
    SeedTable::Parts parts{};
    parts.stretches = At<SeedTable::Stretch>(SectionKind::buckets).data();
    const auto memory = At<unsigned char>(SectionKind::table);
    std::uint64_t offset = 0;
    for (const auto& stored : At<StoredBlock>(SectionKind::blocks)) {
        offset = RoundedUp(offset, kBlockAlignment);
        parts.blocks.push_back({memory.data() + offset, stored.groups, stored.positions});
        offset += shape.SizeOf(stored.groups, stored.positions);
    }
    const auto counts = At<SeedTable::OccurrenceCount>(SectionKind::occurrences);
    parts.counts.assign(counts.begin(), counts.end());
    parts.lengths = Lengths().data();
    parts.sequences = Lengths().size();
    return parts;
}

}  // namespace qel_minimap2
