#pragma once

#include <cstdint>
#include <vector>

#include "qel_minimap2/index/index_builder.h"
#include "qel_minimap2/index/index_layout.h"
#include "qel_minimap2/index/minimizer_sample.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// Reads buckets of a prebuilt index into a new one and checks every count, position and key that minimap2 would follow
/// without a look. One for each block of buckets that is read; `worker`: see ForEach, `window`: of that thread.
class BucketReader {
public:
    BucketReader(const IndexLayout& layout, FileWindow& window, MinimizerSample& sample, IndexBuilder& builder,
                 unsigned worker)
        : layout(layout), window(window), sample(sample), builder(builder), worker(worker) {}

    /// Reads `count` buckets from `first` on; with a SeedTable, those of a block. Throws std::runtime_error for a
    /// damaged bucket and a file that cannot be read any more, and std::bad_alloc.
    void Read(std::uint64_t first, std::uint64_t count);

private:
    void MakeRoom(std::uint64_t first, std::uint64_t count);
    void ReadBucket(std::uint64_t bucket, std::uint64_t block_end);
    void StartBucket(std::uint64_t bucket, const StoredBucket& stored);
    bool Insert(std::uint64_t key, std::uint64_t value);
    void CheckPosition(std::uint64_t position) const;
    void ReadRepeated(std::uint64_t minimizer, std::uint64_t value, const StoredBucket& stored);
    void CheckLists(const StoredBucket& stored) const;

    const IndexLayout& layout;
    FileWindow& window;
    MinimizerSample& sample;
    IndexBuilder& builder;
    const unsigned worker;
    const unsigned char* positions = nullptr;  // Of the bucket, in the window.
    const unsigned char* stored_entries = nullptr;
    std::uint64_t* block_positions = nullptr;
    std::uint64_t positions_before = 0;     // Of the buckets of the block that were read.
    std::vector<SeedTable::Entry> entries;  // Of the bucket, for a SeedTable.
    MinimizerTable* minimizers = nullptr;
    // By place among the bucket's positions: the length of the minimizer's list that begins there, else 0.
    std::vector<std::uint32_t> list_sizes;
    std::uint64_t claimed = 0;  // The sum of the lengths.
};

}  // namespace qel_minimap2
