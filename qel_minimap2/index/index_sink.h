#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/seed_table.h"
#include "qel_minimap2/pages.h"

namespace qel_minimap2 {

/// Takes the parts of an index while it is made, in the order of these functions. All throw std::runtime_error and
/// std::bad_alloc.
class IndexSink {
public:
    IndexSink() = default;
    IndexSink(const IndexSink&) = delete;
    IndexSink& operator=(const IndexSink&) = delete;
    virtual ~IndexSink() = default;

    /// `words`: the packed bases of all sequences.
    virtual void Begin(const IndexHeader& header, const std::vector<ReferenceSequence>& sequences,
                       const std::uint32_t* words) = 0;
    /// Memory of blocks that are no longer needed, for the next one; may be empty. Any thread.
    virtual Pages SpareMemory() = 0;
    /// Takes a filled block. `memory` holds its content, or is empty if that stays until End. Any thread, the blocks in
    /// any order.
    virtual void Take(std::size_t block, const SeedTable::BlockMemory& content, Pages memory) = 0;
    /// `table` has had all these blocks.
    virtual void End(const SeedTable& table) = 0;
};

}  // namespace qel_minimap2
