#pragma once

#include <cstdlib>
#include <new>

namespace qel_minimap2 {

/// The deleter of malloc'ed memory, which minimap2 allocates or frees.
struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// What malloc and its like return; throws std::bad_alloc for null.
template <typename T>
T* RequireMemory(T* allocated) {
    return allocated != nullptr ? allocated : throw std::bad_alloc();
}

}  // namespace qel_minimap2
