#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <mmpriv.h>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/malloc_memory.h"

namespace qel_minimap2 {

/// The minimizers of some bases, as minimap2's mm_sketch finds them. One thread.
class MinimizerList {
public:
    MinimizerList() = default;
    MinimizerList(const MinimizerList&) = delete;
    MinimizerList& operator=(const MinimizerList&) = delete;
    ~MinimizerList() { Free()(list.a); }

    /// Replaces the list by the minimizers of `bases`, numbers as UnpackBases writes them: hash and span in x, number
    /// of the sequence, 0-based position of the last base and strand in y.
    /// Throws std::bad_alloc.
    void Sketch(std::string_view bases, const IndexHeader& header, std::uint32_t sequence) {
        Reserve(2 * bases.size());  // Each base is a minimizer at most twice, and minimap2 would not notice a failure.
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

    mm128_v list{};  // Its memory is malloc'ed and kept for the next sketch.
};

}  // namespace qel_minimap2
