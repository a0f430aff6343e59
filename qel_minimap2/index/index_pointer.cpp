#include "qel_minimap2/index/index_pointer.h"

#include <cstring>
#include <utility>

#include <kalloc.h>

// minimap2's headers do not declare it.
extern "C" mm_idx_t* mm_idx_init(int w, int k, int b, int flag);

namespace qel_minimap2 {

namespace {

// An index with room for its sequences.
IndexPointer WithTable(const IndexHeader& header, std::size_t sequences, std::unique_ptr<const SeedTable> table) {
    IndexPointer index(mm_idx_init(static_cast<int>(header.window), static_cast<int>(header.k),
                                   static_cast<int>(header.bucket_bits), static_cast<int>(header.flags)));
    SeedTable::Give(*index, std::move(table));
    index->seq = static_cast<mm_idx_seq_t*>(kcalloc(index->km, sequences, sizeof(mm_idx_seq_t)));
    return index;
}

}  // namespace

IndexPointer MakeIndex(const IndexHeader& header, const std::vector<ReferenceSequence>& sequences,
                       std::unique_ptr<const SeedTable> table, PackedWords words) {
    auto index = WithTable(header, sequences.size(), std::move(table));
    index->S = words.release();
    for (const auto& [name, offset, length] : sequences) {
        auto& sequence = index->seq[index->n_seq++];
        sequence.name = static_cast<char*>(kmalloc(index->km, name.size() + 1));
        std::memcpy(sequence.name, name.c_str(), name.size() + 1);
        sequence.len = length;
        sequence.offset = offset;
    }
    return index;
}

// NOLINTBEGIN(cppcoreguidelines-pro-type-const-cast): minimap2 neither writes to names and bases nor, since its
// allocator gave the memory of `seq`, frees single names.
IndexPointer MakeIndex(const IndexHeader& header, const char* names, const std::uint32_t* lengths,
                       std::unique_ptr<const SeedTable> table, const std::uint32_t* words) {
    auto index = WithTable(header, header.sequences, std::move(table));
    index->S = const_cast<std::uint32_t*>(words);
    std::uint64_t offset = 0;
    while (index->n_seq < header.sequences) {
        const auto length = lengths[index->n_seq];
        index->seq[index->n_seq++] = {const_cast<char*>(names), offset, length, 0};
        names += std::strlen(names) + 1;
        offset += length;
    }
    return index;
}
// NOLINTEND(cppcoreguidelines-pro-type-const-cast)

}  // namespace qel_minimap2
