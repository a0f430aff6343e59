#include "qel_minimap2/index/mapped/index_writer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "qel_minimap2/index/mapped/checksums.h"
#include "qel_minimap2/index/parallel.h"

namespace qel_minimap2 {

namespace {

template <typename T>
std::span<const unsigned char> BytesOf(const T* elements, std::uint64_t count) {
    return {reinterpret_cast<const unsigned char*>(elements), count * sizeof(T)};
}

void WriteSection(Section& section, std::span<const unsigned char> content, const NewFile& file) {
    SectionWriter writer(file, section.offset);
    ForEach(PieceCount(content.size()), [&](std::size_t item, unsigned) {
        const auto begin = item * kPieceSize;
        const auto piece = content.subspan(begin, std::min(kPieceSize, content.size() - begin));
        writer.Write(begin, piece, begin + piece.size());
    });
    section.checksum = writer.Finish();
}

}  // namespace

Section& IndexWriter::Add(SectionKind kind, std::uint64_t length) {
    auto& section = header.sections[header.section_count++];
    section = {kind, 0, header.file_size, length, 0};
    header.file_size += RoundedUp(length, kPageSize);
    return section;
}

void IndexWriter::Begin(const IndexHeader& index, const std::vector<ReferenceSequence>& sequences,
                        const std::uint32_t* words) {
    header.magic = kMappedMagic;
    header.byte_order = kByteOrder;
    header.version = kFormatVersion;
    header.file_size = kPageSize;
    std::memcpy(header.minimap2_index.data(), MM_IDX_MAGIC, header.minimap2_index.size());
    header.index = index;
    std::string all_names;
    std::vector<std::uint32_t> all_lengths;
    for (const auto& [name, offset, length] : sequences) {
        all_names.append(name.c_str(), name.size() + 1);
        all_lengths.push_back(length);
        header.bases += length;
    }
    shape.emplace(index.k, index.bucket_bits);
    auto& names = Add(SectionKind::names, all_names.size());
    auto& lengths = Add(SectionKind::lengths, all_lengths.size() * sizeof all_lengths[0]);
    auto& bases = Add(SectionKind::bases, (header.bases + 7) / 8 * sizeof *words);
    buckets = &Add(SectionKind::buckets, sizeof(SeedTable::Stretch) << index.bucket_bits);
    blocks = &Add(SectionKind::blocks, shape->BlockCount() * sizeof(StoredBlock));
    table = &Add(SectionKind::table, 0);  // Its length is not known yet.
    file.emplace(path, table->offset);
    table_writer.emplace(*file, table->offset);
    WriteSection(names, BytesOf(all_names.data(), all_names.size()), *file);
    WriteSection(lengths, BytesOf(all_lengths.data(), all_lengths.size()), *file);
    WriteSection(bases, BytesOf(words, bases.length / sizeof *words), *file);
}

Pages IndexWriter::SpareMemory() {
    const std::lock_guard lock(mutex);
    if (spare.empty()) {
        return {};
    }
    auto memory = std::move(spare.back());
    spare.pop_back();
    return memory;
}

void IndexWriter::Take(std::size_t block, const SeedTable::BlockMemory& content, Pages memory) {
    {
        const std::lock_guard lock(mutex);
        waiting.emplace(block, Filled{content, std::move(memory)});
    }
    while (auto placed = NextPlaced()) {
        table_writer->Write(placed->begin, {placed->block.content.data, placed->size},
                            RoundedUp(placed->begin + placed->size, kBlockAlignment));
        if (placed->block.memory.Size() > 0) {
            const std::lock_guard lock(mutex);
            spare.push_back(std::move(placed->block.memory));
        }
    }
}

// Assigns the next block its place in the file and returns the block, or nothing if it has not been taken yet.
std::optional<IndexWriter::Placed> IndexWriter::NextPlaced() {
    const std::lock_guard lock(mutex);
    auto next = waiting.extract(stored_blocks.size());
    if (next.empty()) {
        return std::nullopt;
    }
    const auto& content = next.mapped().content;
    if (content.positions > std::numeric_limits<std::int32_t>::max()) {
        throw std::runtime_error("the index has more positions in one block than a file can hold");
    }
    stored_blocks.push_back(
        {static_cast<std::uint32_t>(content.groups), static_cast<std::uint32_t>(content.positions)});
    const auto begin = RoundedUp(table->length, kBlockAlignment),
               size = shape->SizeOf(content.groups, content.positions);
    table->length = begin + size;
    return Placed{std::move(next.mapped()), begin, size};
}

void IndexWriter::End(const SeedTable& filled) {
    const auto parts = filled.AllParts();
    for (const auto& [occurrences, count] : parts.counts) {
        header.minimizers += count;
    }
    header.file_size += RoundedUp(table->length, kPageSize);
    table->checksum = table_writer->Finish();
    auto& occurrences = Add(SectionKind::occurrences, parts.counts.size() * sizeof parts.counts[0]);
    WriteSection(*buckets, BytesOf(parts.stretches, std::uint64_t{1} << header.index.bucket_bits), *file);
    WriteSection(*blocks, BytesOf(stored_blocks.data(), stored_blocks.size()), *file);
    WriteSection(occurrences, BytesOf(parts.counts.data(), parts.counts.size()), *file);
    header.checksum = ChecksumOf(header);
    // `filled` may lie in a mapped file. If another program wrote to that file, the new checksums would hide it.
    filled.RequireUnchanged();
    file->Write(0, &header, sizeof header);
}

void WriteIndex(const mm_idx_t& index, IndexSink& sink) {
    const auto& table = *SeedTable::Of(index);
    std::vector<ReferenceSequence> sequences;
    for (std::uint32_t i = 0; i < index.n_seq; ++i) {
        sequences.push_back({index.seq[i].name, index.seq[i].offset, index.seq[i].len});
    }
    sink.Begin({static_cast<std::uint32_t>(index.w), static_cast<std::uint32_t>(index.k),
                static_cast<std::uint32_t>(index.b), index.n_seq, static_cast<std::uint32_t>(index.flag)},
               sequences, index.S);
    ForEach(table.BlockCount(), [&](std::size_t block, unsigned) { sink.Take(block, table.ContentOf(block), {}); });
    sink.End(table);
}

}  // namespace qel_minimap2
