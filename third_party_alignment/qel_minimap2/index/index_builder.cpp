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
void* Copied(const void* from, std::size_t bytes) {
    if (bytes == 0) {
        return nullptr;
    }
    void* const copy = std::malloc(bytes);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return std::memcpy(copy, from, bytes);
}

}  // namespace

IndexBuilder::IndexBuilder(int window, int k, int bucket_bits, int flags, const std::vector<std::uint32_t>& key_counts)
    : index(mm_idx_init(window, k, bucket_bits, flags)),
      table(std::make_unique<SeedTable>(static_cast<unsigned>(bucket_bits), key_counts)) {}

void IndexBuilder::SetSequences(const std::vector<std::string>& names, const std::vector<std::uint32_t>& lengths) {
    void* const pool = index->km;
    index->seq = static_cast<mm_idx_seq_t*>(kcalloc(pool, names.size(), sizeof(mm_idx_seq_t)));
    std::uint64_t offset = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto& sequence = index->seq[i];
        sequence.name = static_cast<char*>(kmalloc(pool, names[i].size() + 1));
        std::memcpy(sequence.name, names[i].c_str(), names[i].size() + 1);
        sequence.len = lengths[i];
        sequence.offset = offset;
        offset += lengths[i];
        index->n_seq = static_cast<std::uint32_t>(i + 1);
    }
}

void IndexBuilder::SetPositions(std::uint64_t bucket, const void* positions, std::uint32_t count) {
    auto& target = BucketsOf(*index)[bucket];
    target.positions = static_cast<std::uint64_t*>(Copied(positions, std::size_t{count} * sizeof(std::uint64_t)));
    target.count = static_cast<std::int32_t>(count);
}

void IndexBuilder::SetBases(const void* words, std::uint64_t count) {
    index->S = static_cast<std::uint32_t*>(Copied(words, count * sizeof(std::uint32_t)));
}

IndexPointer IndexBuilder::Take() {
    SeedTable::Give(*index, std::move(table));
    return std::move(index);
}

}  // namespace qel_minimap2
