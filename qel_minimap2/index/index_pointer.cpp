#include "qel_minimap2/index/index_pointer.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include <kalloc.h>

#include "qel_minimap2/malloc_memory.h"

// minimap2 has this function, but its headers do not declare it.
extern "C" mm_idx_t* mm_idx_init(int w, int k, int b, int flag);

namespace qel_minimap2 {

namespace {

// Makes an index with this table and room for the sequences. minimap2's allocator ends the process when memory is
// short, so this code uses malloc instead. Without that allocator (`km`), mm_idx_destroy frees the names one by one.
IndexPointer WithTable(const IndexHeader& header, std::size_t sequences, std::unique_ptr<const SeedTable> table) {
    // mm_idx_init does not check whether it got memory. This code therefore first tries to allocate more than
    // mm_idx_init needs for everything except the buckets. The buckets are not used and may be missing.
    constexpr std::size_t kNeeded = 1 << 20;
    std::free(RequireMemory(std::malloc(kNeeded)));
    IndexPointer index(mm_idx_init(static_cast<int>(header.window), static_cast<int>(header.k),
                                   static_cast<int>(header.bucket_bits), static_cast<int>(header.flags)));
    SeedTable::Give(*index, std::move(table));
    km_destroy(std::exchange(index->km, nullptr));
    index->seq = static_cast<mm_idx_seq_t*>(RequireMemory(std::calloc(sequences + 1, sizeof(mm_idx_seq_t))));
    return index;
}

}  // namespace

IndexPointer MakeIndex(const IndexHeader& header, const std::vector<ReferenceSequence>& sequences,
                       std::unique_ptr<const SeedTable> table, PackedWords words) {
    auto index = WithTable(header, sequences.size(), std::move(table));
    index->S = words.release();
    for (const auto& [name, offset, length] : sequences) {
        auto& sequence = index->seq[index->n_seq++];
        sequence.name = RequireMemory(::strdup(name.c_str()));
        sequence.len = length;
        sequence.offset = offset;
    }
    return index;
}

// NOLINTBEGIN(cppcoreguidelines-pro-type-const-cast): minimap2 does not write to names and bases.
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
