#pragma once

#include <cstdint>

#include <mmpriv.h>

namespace qel_minimap2::kernel {

/// The arguments of minimap2's mm_sketch, except is_hpc, which must be 0.
struct SketchCall {
    void* pool;  ///< The kalloc pool of `minimizers`; null for malloc.
    const char* bases;
    int length;
    int window;  ///< In k-mers.
    int k;
    std::uint32_t sequence;  ///< The 0-based number of the sequence. Each minimizer contains this number.
    mm128_v* minimizers;
};

/// Returns true for the calls that SketchSequence accepts. The limits on k ensure that a k-mer has at least four bases
/// and that its hash fits into 31 bits. k is odd, so that no k-mer equals its reverse complement.
inline bool CanSketch(const SketchCall& call) {
    return call.length > 0 && call.window > 0 && call.window <= 16 && call.k > 4 && call.k <= 15 && call.k % 2 == 1;
}

/// Appends the minimizers that mm_sketch appends, in the same order. Only for calls that CanSketch accepts. Any thread.
template <int kBits>
void SketchSequence(const SketchCall& call);
template <>
void SketchSequence<128>(const SketchCall& call);
template <>
void SketchSequence<256>(const SketchCall& call);

}  // namespace qel_minimap2::kernel
