#pragma once

#include <cstdlib>
#include <new>

namespace qel_minimap2 {

/// The deleter of malloc'ed memory.
struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// Returns its argument, the result of an allocation; throws std::bad_alloc if that is null.
template <typename T>
T* RequireMemory(T* allocated) {
    return allocated != nullptr ? allocated : throw std::bad_alloc();
}

}  // namespace qel_minimap2
