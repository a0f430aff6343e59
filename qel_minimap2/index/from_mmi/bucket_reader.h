#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qel_minimap2/index/from_mmi/index_layout.h"
#include "qel_minimap2/index/from_mmi/minimizer_sample.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// Reads buckets of a prebuilt index into a table and checks every count, position and key that minimap2 uses
/// unchecked. One for each block; `worker`: see ForEach, `window`: of that thread. A class because its steps share the
/// lists of a bucket.
class BucketReader {
public:
    BucketReader(const IndexLayout& layout, FileWindow& window, MinimizerSample& sample, SeedTable& table,
                 unsigned worker)
        : layout(layout), window(window), sample(sample), table(table), worker(worker) {}

    /// Reads all buckets of a block. Throws std::runtime_error when a bucket is damaged or the file cannot be read, and
    /// std::bad_alloc.
    void ReadBlock(std::size_t block);

private:
    void MakeRoom(std::size_t block, std::uint64_t first, std::uint64_t end);
    void ReadBucket(std::uint64_t bucket, std::uint64_t block_end);
    void TakePosition(std::uint64_t minimizer, std::uint64_t position);
    void TakeList(std::uint64_t minimizer, std::uint64_t begin, std::uint64_t count);

    const IndexLayout& layout;
    FileWindow& window;
    MinimizerSample& sample;
    SeedTable& table;
    const unsigned worker;
    std::uint64_t* positions = nullptr;     // The bucket's positions, in the table.
    std::uint64_t positions_before = 0;     // Number of positions in the block's buckets read so far.
    std::vector<SeedTable::Entry> entries;  // The bucket's entries.
    std::vector<std::uint8_t> is_taken;     // For each position of the bucket: whether a minimizer has it.
};

}  // namespace qel_minimap2
