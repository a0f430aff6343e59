#include "third_party_alignment/qel_minimap2/index/index_builder.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <kalloc.h>

#include "third_party_alignment/qel_minimap2/index/index_buckets.h"

// The library has no declaration of it for others.
extern "C" mm_idx_t* mm_idx_init(int w, int k, int b, int flag);

namespace qel_minimap2 {

namespace {

// From malloc, which the library frees it with; null for nothing.
template <typename T>
T* Allocated(std::uint64_t count) {
    void* const memory = count > 0 ? std::malloc(count * sizeof(T)) : nullptr;
    if (memory == nullptr && count > 0) {
        throw std::bad_alloc();
    }
    return static_cast<T*>(memory);
}

mm_idx_t* NewIndex(const IndexHeader& header) {
    return mm_idx_init(static_cast<int>(header.window), static_cast<int>(header.k),
                       static_cast<int>(header.bucket_bits), static_cast<int>(header.flags));
}

void SetSequences(mm_idx_t& index, const std::vector<ReferenceSequence>& sequences) {
    index.seq = static_cast<mm_idx_seq_t*>(kcalloc(index.km, sequences.size(), sizeof(mm_idx_seq_t)));
    for (const auto& [name, offset, length] : sequences) {
        auto& sequence = index.seq[index.n_seq++];
        sequence.name = static_cast<char*>(kmalloc(index.km, name.size() + 1));
        std::memcpy(sequence.name, name.c_str(), name.size() + 1);
        sequence.len = length;
        sequence.offset = offset;
    }
}

}  // namespace

IndexBuilder::IndexBuilder(const IndexLayout& layout, bool with_seed_table) : index(NewIndex(layout.Header())) {
    SetSequences(*index, layout.Sequences());
    index->S = Allocated<std::uint32_t>(layout.BaseWords());
    if (with_seed_table && SeedTable::Fits(index->k, index->b)) {
        std::vector<std::uint32_t> key_counts;
        for (std::uint64_t bucket = 0; bucket < layout.BucketCount(); ++bucket) {
            key_counts.push_back(layout.Bucket(bucket).key_count);
        }
        table = std::make_unique<SeedTable>(layout.Header().bucket_bits, key_counts);
    }
}

void IndexBuilder::StartBucket(std::uint64_t bucket, const StoredBucket& stored) {
    auto& target = BucketsOf(*index)[bucket];
    target.positions = Allocated<std::uint64_t>(stored.position_count);
    if (stored.position_count > 0) {
        std::memcpy(target.positions, stored.positions, stored.position_count * sizeof(std::uint64_t));
    }
    target.count = static_cast<std::int32_t>(stored.position_count);
    if (!table && stored.key_count > 0) {
        auto* const minimizers = kh_init(minimizers);
        target.table = minimizers;
        if (minimizers == nullptr || kh_resize(minimizers, minimizers, stored.key_count) < 0) {
            throw std::bad_alloc();
        }
    }
}

bool IndexBuilder::Insert(std::uint64_t bucket, std::uint64_t key, std::uint64_t value) {
    if (table) {
        return table->Insert(bucket, key, value);
    }
    auto* const minimizers = static_cast<MinimizerTable*>(BucketsOf(*index)[bucket].table);
    int result = 0;
    const auto slot = kh_put(minimizers, minimizers, key, &result);
    if (result < 0) {
        throw std::bad_alloc();
    }
    kh_val(minimizers, slot) = value;
    return result > 0;
}

IndexPointer IndexBuilder::Take() {
    SeedTable::Give(*index, std::move(table));
    return std::move(index);
}

}  // namespace qel_minimap2
