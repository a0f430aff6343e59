#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <mmpriv.h>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/malloc_memory.h"

namespace qel_minimap2 {

/// The minimizers of some bases, as minimap2's mm_sketch finds them. Not thread-safe.
class MinimizerList {
public:
    MinimizerList() = default;
    MinimizerList(const MinimizerList&) = delete;
    MinimizerList& operator=(const MinimizerList&) = delete;
    ~MinimizerList() { Free()(list.a); }

    /// Replaces the list with the minimizers of `bases`, which are numbers as UnpackBases writes them. In each
    /// minimizer, x has the hash and the span. y has the number of the sequence, the 0-based position of the last base,
    /// and the strand. Throws std::bad_alloc.
    void Sketch(std::string_view bases, const IndexHeader& header, std::uint32_t sequence) {
        // At most two minimizers end at a base, so minimap2 never grows the list. It would not notice a lack of memory.
        Reserve(2 * bases.size());
        list.n = 0;
        mm_sketch(nullptr, bases.data(), static_cast<int>(bases.size()), static_cast<int>(header.window),
                  static_cast<int>(header.k), sequence, static_cast<int>(header.flags & MM_I_HPC), &list);
    }

    const mm128_t* begin() const { return list.a; }
    const mm128_t* end() const { return list.a + list.n; }

private:
    void Reserve(std::size_t count) {
        if (count > list.m) {
            list.a = static_cast<mm128_t*>(RequireMemory(std::realloc(list.a, count * sizeof(mm128_t))));
            list.m = count;
        }
    }

    mm128_v list{};  // Its malloc'ed memory is kept for the next sketch.
};

}  // namespace qel_minimap2
