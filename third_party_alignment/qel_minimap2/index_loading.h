#pragma once

#include <memory>

#include <minimap.h>

namespace qel_minimap2 {

struct DestroyIndex {
    void operator()(mm_idx_t* index) const { mm_idx_destroy(index); }
};

using IndexPointer = std::unique_ptr<mm_idx_t, DestroyIndex>;

/// See qelmm_load_index; throws std::runtime_error with the reason instead of printing it.
IndexPointer LoadIndex(const char* path);

}  // namespace qel_minimap2
