#include "qel_minimap2/index/index_pointer.h"

#include <cstring>
#include <utility>

#include <kalloc.h>

// minimap2's headers do not declare it.
extern "C" mm_idx_t* mm_idx_init(int w, int k, int b, int flag);

namespace qel_minimap2 {

IndexPointer MakeIndex(const IndexHeader& header, const std::vector<ReferenceSequence>& sequences,
                       std::unique_ptr<const SeedTable> table, PackedWords words) {
    IndexPointer index(mm_idx_init(static_cast<int>(header.window), static_cast<int>(header.k),
                                   static_cast<int>(header.bucket_bits), static_cast<int>(header.flags)));
    SeedTable::Give(*index, std::move(table));
    index->S = words.release();
    index->seq = static_cast<mm_idx_seq_t*>(kcalloc(index->km, sequences.size(), sizeof(mm_idx_seq_t)));
    for (const auto& [name, offset, length] : sequences) {
        auto& sequence = index->seq[index->n_seq++];
        sequence.name = static_cast<char*>(kmalloc(index->km, name.size() + 1));
        std::memcpy(sequence.name, name.c_str(), name.size() + 1);
        sequence.len = length;
        sequence.offset = offset;
    }
    return index;
}

}  // namespace qel_minimap2
