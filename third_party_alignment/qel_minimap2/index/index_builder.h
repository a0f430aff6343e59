#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "third_party_alignment/qel_minimap2/index/index_pointer.h"

namespace qel_minimap2 {

/// Makes an index of what a prebuilt one's file says, in the order of the file, with memory that the library can free.
/// Checks nothing. All operations throw std::bad_alloc. One thread.
class IndexBuilder {
public:
    /// For a header's values, and the number of keys in each bucket, 2 to the power of `bucket_bits`.
    IndexBuilder(int window, int k, int bucket_bits, int flags, const std::vector<std::uint32_t>& key_counts);

    void SetSequences(const std::vector<std::string>& names, const std::vector<std::uint32_t>& lengths);

    /// The list of positions of the minimizers that occur more than once in a bucket: 8 bytes each.
    void SetPositions(std::uint64_t bucket, const void* positions, std::uint32_t count);

    /// See SeedTable::Insert.
    bool Insert(std::uint64_t bucket, std::uint64_t key, std::uint64_t value) {
        return table->Insert(bucket, key, value);
    }

    /// The packed bases of all sequences, 4 bytes each word.
    void SetBases(const void* words, std::uint64_t count);

    /// The index. Nothing may be called after it.
    IndexPointer Take();

private:
    IndexPointer index;
    std::unique_ptr<SeedTable> table;
};

}  // namespace qel_minimap2
