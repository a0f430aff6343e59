#pragma once

#include <cstdlib>

namespace qel_minimap2 {

/// The deleter of memory that comes from malloc: minimap2 allocates it so, or frees it so.
struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace qel_minimap2
