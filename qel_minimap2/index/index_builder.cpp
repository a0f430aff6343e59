#include "qel_minimap2/index/index_builder.h"

#include <cstring>
#include <utility>

#include <kalloc.h>

// The library has no declaration of it for others.
extern "C" mm_idx_t* mm_idx_init(int w, int k, int b, int flag);

namespace qel_minimap2 {

IndexBuilder::IndexBuilder(const IndexHeader& header, bool with_seed_table)
    : index(mm_idx_init(static_cast<int>(header.window), static_cast<int>(header.k),
                        static_cast<int>(header.bucket_bits), static_cast<int>(header.flags))) {
    if (with_seed_table && SeedTable::Fits(index->k, index->b)) {
        table = std::make_unique<SeedTable>(header.bucket_bits);
    }
}

void IndexBuilder::SetSequences(const std::vector<ReferenceSequence>& sequences) {
    index->seq = static_cast<mm_idx_seq_t*>(kcalloc(index->km, sequences.size(), sizeof(mm_idx_seq_t)));
    for (const auto& [name, offset, length] : sequences) {
        auto& sequence = index->seq[index->n_seq++];
        sequence.name = static_cast<char*>(kmalloc(index->km, name.size() + 1));
        std::memcpy(sequence.name, name.c_str(), name.size() + 1);
        sequence.len = length;
        sequence.offset = offset;
    }
}

IndexBucket& IndexBuilder::StartBucket(std::uint64_t bucket, std::uint32_t position_count, std::uint32_t key_count) {
    auto& target = BucketsOf(*index)[bucket];
    target.positions = Allocated<std::uint64_t>(position_count);
    target.count = static_cast<std::int32_t>(position_count);
    if (key_count > 0) {
        auto* const minimizers = kh_init(minimizers);
        target.table = minimizers;
        if (minimizers == nullptr || kh_resize(minimizers, minimizers, key_count) < 0) {
            throw std::bad_alloc();
        }
    }
    return target;
}

IndexPointer IndexBuilder::Take() {
    SeedTable::Give(*index, std::move(table));
    return std::move(index);
}

}  // namespace qel_minimap2
