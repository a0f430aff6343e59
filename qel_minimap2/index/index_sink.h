#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/seed_table.h"
#include "qel_minimap2/pages.h"

namespace qel_minimap2 {

/// Takes the parts of an index: while the index is made, or of a complete one. Begin is called first and End last. All
/// functions may throw std::runtime_error and std::bad_alloc.
class IndexSink {
public:
    IndexSink() = default;
    IndexSink(const IndexSink&) = delete;
    IndexSink& operator=(const IndexSink&) = delete;
    virtual ~IndexSink() = default;

    /// `words`: the packed bases of all sequences.
    virtual void Begin(const IndexHeader& header, const std::vector<ReferenceSequence>& sequences,
                       const std::uint32_t* words) = 0;
    /// Returns memory that a block no longer needs, for use by another block. Returns empty memory if there is none.
    /// Any thread.
    virtual Pages SpareMemory() = 0;
    /// Takes a filled block. `memory` holds `content`, or is empty if `content` stays valid until End returns. Any
    /// thread may call this function, and the blocks may come in any order.
    virtual void Take(std::size_t block, const SeedTable::BlockMemory& content, Pages memory) = 0;
    /// Call when all blocks of `table` have been taken.
    virtual void End(const SeedTable& table) = 0;
};

}  // namespace qel_minimap2
