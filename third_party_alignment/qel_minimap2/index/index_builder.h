#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "third_party_alignment/qel_minimap2/index/index_layout.h"
#include "third_party_alignment/qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// Makes an index of what a prebuilt one's file says, with memory that the library can free, and with a SeedTable in
/// the place of the library's hash tables where that is wanted and the minimizers fit it. Checks nothing. All
/// operations throw std::bad_alloc. Different buckets may be filled by different threads at once.
class IndexBuilder {
public:
    IndexBuilder(const IndexLayout& layout, bool with_seed_table);

    /// Copies the positions of a bucket. To be called before its minimizers are inserted.
    void StartBucket(std::uint64_t bucket, const StoredBucket& stored);

    /// Adds a minimizer to a bucket, with key and value as in SeedTable. False for one that the bucket holds already.
    bool Insert(std::uint64_t bucket, std::uint64_t key, std::uint64_t value);

    /// Memory for the packed bases of all sequences.
    std::uint32_t* Bases() { return index->S; }

    /// The index. Nothing may be called after it.
    IndexPointer Take();

private:
    IndexPointer index;
    std::unique_ptr<SeedTable> table;  // Null when the library's tables are filled.
};

}  // namespace qel_minimap2
