#pragma once

#include <cstdlib>

namespace qel_minimap2 {

/// The deleter of malloc'ed memory, which minimap2 allocates or frees.
struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace qel_minimap2
