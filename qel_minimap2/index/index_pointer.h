#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// Frees an index and its SeedTable.
struct DestroyIndex {
    void operator()(mm_idx_t* index) const {
        if (const auto* const table = SeedTable::Of(*index); table != nullptr && table->IsForeign()) {
            index->S = nullptr;  // minimap2 must not free foreign bases and names.
            index->n_seq = 0;
        }
        SeedTable::Drop(*index);  // minimap2 would free the table as one of its own hash tables.
        mm_idx_destroy(index);
    }
};

using IndexPointer = std::unique_ptr<mm_idx_t, DestroyIndex>;

/// Makes an index from its parts, which are not checked: `table` holds its minimizers, and `words` the packed bases of
/// all sequences. Throws std::bad_alloc.
IndexPointer MakeIndex(const IndexHeader& header, const std::vector<ReferenceSequence>& sequences,
                       std::unique_ptr<const SeedTable> table, PackedWords words);

/// Makes an index whose names and bases stay in foreign memory, which `table` keeps alive. Each of the `names` ends
/// with a NUL. `lengths` has the length of each sequence in bases. Throws std::bad_alloc.
IndexPointer MakeIndex(const IndexHeader& header, const char* names, const std::uint32_t* lengths,
                       std::unique_ptr<const SeedTable> table, const std::uint32_t* words);

}  // namespace qel_minimap2
