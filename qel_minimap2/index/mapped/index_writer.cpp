#include "qel_minimap2/index/mapped/index_writer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "qel_minimap2/index/mapped/checksums.h"
#include "qel_minimap2/index/mapped/index_format.h"
#include "qel_minimap2/index/mapped/new_file.h"
#include "qel_minimap2/index/parallel.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

namespace {

// A section whose content lies in several places in memory, with zeros between them.
class SectionContent {
public:
    explicit SectionContent(SectionKind kind) : kind(kind) {}

    void Append(const void* data, std::uint64_t size, std::uint64_t alignment = 1) {
        length = RoundedUp(length, alignment);
        if (size > 0) {
            parts.push_back({length, size, static_cast<const unsigned char*>(data)});
            length += size;
        }
    }

    SectionKind Kind() const { return kind; }
    std::uint64_t Length() const { return length; }
    std::uint64_t SizeInFile() const { return RoundedUp(length, kPageSize); }

    // Fills `bytes` with the content from `offset` on, and with zeros after its end.
    void CopyTo(std::uint64_t offset, std::vector<unsigned char>& bytes) const {
        std::fill(bytes.begin(), bytes.end(), 0);
        const auto end = offset + bytes.size();
        auto part = std::upper_bound(parts.begin(), parts.end(), offset,
                                     [](std::uint64_t at, const Part& other) { return at < other.begin + other.size; });
        for (; part != parts.end() && part->begin < end; ++part) {
            const auto from = std::max(offset, part->begin), to = std::min(end, part->begin + part->size);
            std::memcpy(bytes.data() + (from - offset), part->data + (from - part->begin), to - from);
        }
    }

private:
    struct Part {
        std::uint64_t begin, size;
        const unsigned char* data;
    };
    SectionKind kind;
    std::uint64_t length = 0;
    std::vector<Part> parts;  // By rising `begin`.
};

// The content of the file after its header. Refers to the index.
class IndexContent {
public:
    explicit IndexContent(const mm_idx_t& index) : table(*SeedTable::Of(index)), parts(table.AllParts()), index(index) {
        AddSequences();
        AddTable();
        for (const auto& [occurrences, count] : parts.counts) {
            minimizers += count;
        }
    }

    const std::vector<SectionContent>& Sections() const { return sections; }
    FileHeader Header() const {
        FileHeader header{};
        header.magic = kMappedMagic;
        header.byte_order = kByteOrder;
        header.version = kFormatVersion;
        std::memcpy(header.minimap2_index.data(), MM_IDX_MAGIC, header.minimap2_index.size());
        header.index = {static_cast<std::uint32_t>(index.w), static_cast<std::uint32_t>(index.k),
                        static_cast<std::uint32_t>(index.b), index.n_seq, static_cast<std::uint32_t>(index.flag)};
        header.bases = bases;
        header.minimizers = minimizers;
        header.file_size = kPageSize;
        for (const auto& section : sections) {
            header.sections[header.section_count++] = {section.Kind(), 0, header.file_size, section.Length(), 0};
            header.file_size += section.SizeInFile();
        }
        return header;
    }

private:
    SectionContent& Add(SectionKind kind) { return sections.emplace_back(kind); }

    void AddSequences() {
        auto& names = Add(SectionKind::names);
        for (std::uint32_t i = 0; i < index.n_seq; ++i) {
            const std::string_view name = index.seq[i].name;
            names.Append(name.data(), name.size() + 1);
            lengths.push_back(index.seq[i].len);
            bases += index.seq[i].len;
        }
        Add(SectionKind::lengths).Append(lengths.data(), lengths.size() * sizeof(std::uint32_t));
        Add(SectionKind::bases).Append(index.S, (bases + 7) / 8 * sizeof(std::uint32_t));
    }

    void AddTable() {
        for (const auto& block : parts.blocks) {
            if (block.positions > std::numeric_limits<std::int32_t>::max()) {
                throw std::runtime_error("the index has more positions in one block than a file can hold");
            }
            blocks.push_back({static_cast<std::uint32_t>(block.groups), static_cast<std::uint32_t>(block.positions)});
        }
        Add(SectionKind::buckets).Append(parts.stretches, (std::uint64_t{1} << index.b) * sizeof(SeedTable::Stretch));
        Add(SectionKind::blocks).Append(blocks.data(), blocks.size() * sizeof(StoredBlock));
        auto& memory = Add(SectionKind::table);
        for (const auto& block : parts.blocks) {
            memory.Append(block.data, table.TableShape().SizeOf(block.groups, block.positions), kBlockAlignment);
        }
        Add(SectionKind::occurrences).Append(parts.counts.data(), parts.counts.size() * sizeof parts.counts[0]);
    }

    const SeedTable& table;
    const SeedTable::Parts parts;
    const mm_idx_t& index;
    std::vector<std::uint32_t> lengths;
    std::vector<StoredBlock> blocks;
    std::vector<SectionContent> sections;
    std::uint64_t bases = 0, minimizers = 0;
};

// Writes a section and returns its checksum.
std::uint64_t WriteSection(const SectionContent& section, std::uint64_t offset, const NewFile& file) {
    std::vector<std::uint64_t> checksums(PieceCount(section.Length()));
    std::vector<std::vector<unsigned char>> buffers(WorkerLimit());
    ForEach(checksums.size(), [&](std::size_t item, unsigned worker) {
        auto& bytes = buffers[worker];
        const auto begin = item * kPieceSize;
        bytes.resize(std::min(kPieceSize, section.SizeInFile() - begin));
        section.CopyTo(begin, bytes);
        checksums[item] = ChecksumOf(std::span<const unsigned char>(bytes));
        file.Write(offset + begin, bytes.data(), bytes.size());
    });
    return ChecksumOf(checksums);
}

}  // namespace

void WriteIndex(const mm_idx_t& index, const std::string& path) {
    const IndexContent content(index);
    auto header = content.Header();
    NewFile file(path, header.file_size);
    for (std::size_t i = 0; i < content.Sections().size(); ++i) {
        header.sections[i].checksum = WriteSection(content.Sections()[i], header.sections[i].offset, file);
    }
    header.checksum = ChecksumOf(header);
    file.Write(0, &header, sizeof header);
    file.Publish();
}

}  // namespace qel_minimap2
