#pragma once

#include <memory>

#include <minimap.h>

#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

struct DestroyIndex {
    void operator()(mm_idx_t* index) const {
        SeedTable::Drop(*index);  // The library would take it for something of its own.
        mm_idx_destroy(index);
    }
};

using IndexPointer = std::unique_ptr<mm_idx_t, DestroyIndex>;

}  // namespace qel_minimap2
