#pragma once

#include <cstdint>

#include <mmpriv.h>

namespace qel_minimap2::kernel {

/// What the library's mm_sketch is asked for, and where the minimizers go.
struct SketchCall {
    void* pool;  ///< What the list grows from.
    const char* bases;
    int length;
    int window;  ///< In k-mers.
    int k;
    std::uint32_t sequence;  ///< Its number in the index, 0-based.
    mm128_v* minimizers;     ///< Appended to.
};

/// True for what SketchWithAvx2 can do: the k-mers fit 31 bits and have no symmetric ones among them, the window fits
/// 16 lanes. (Homopolymer compression is not for it.)
inline bool CanSketch(const SketchCall& call) {
    return call.length > 0 && call.window > 0 && call.window <= 16 && call.k > 0 && call.k <= 15 && call.k % 2 == 1;
}

/// Appends the very minimizers that mm_sketch does, in its order. Only for what CanSketch accepts, on processors with
/// AVX2; any thread.
void SketchWithAvx2(const SketchCall& call);

}  // namespace qel_minimap2::kernel
