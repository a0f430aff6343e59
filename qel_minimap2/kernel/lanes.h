#pragma once

#include <cstdint>

#include "qel_minimap2/kernel/intrinsics.h"

/// Inlines functions that the kernels' loops call. A real call would spill every register.
#define TAVIK_INLINE inline __attribute__((always_inline))
#ifdef __clang__
#define TAVIK_UNROLL _Pragma("unroll")
#else
#define TAVIK_UNROLL _Pragma("GCC unroll 8")
#endif

// The kernels are compiled for each width of registers. The functions that this folder's headers define for them are in
// an unnamed namespace or always inlined. Otherwise, the linker could use a function compiled for AVX2 in code that
// runs on any processor. For the same reason, the kernels use no standard containers or algorithms.
namespace qel_minimap2::kernel {
namespace {

constexpr int Larger(int a, int b) {
    return a > b ? a : b;
}
constexpr int Smaller(int a, int b) {
    return a < b ? a : b;
}
/// Rounds `n`, which is not negative, down to a multiple of `step`.
constexpr int RoundDown(int n, int step) {
    return n / step * step;
}

/// A register of signed bytes.
struct Lanes {
    static constexpr int kWidth = kBits / 8;

    static TAVIK_INLINE Register Load(const void* from) {
        return TAVIK_SIMD_BITS(loadu_si)(static_cast<const Register*>(from));
    }
    static TAVIK_INLINE void Store(void* to, Register a) { TAVIK_SIMD_BITS(storeu_si)(static_cast<Register*>(to), a); }
    static TAVIK_INLINE Register All(int value) { return TAVIK_SIMD(set1_epi8)(static_cast<std::int8_t>(value)); }
    static TAVIK_INLINE Register Add(Register a, Register b) { return TAVIK_SIMD(add_epi8)(a, b); }
    static TAVIK_INLINE Register Subtract(Register a, Register b) { return TAVIK_SIMD(sub_epi8)(a, b); }
    /// Subtracts unsigned bytes; 0 where b is greater than a.
    static TAVIK_INLINE Register SubtractDownToZero(Register a, Register b) { return TAVIK_SIMD(subs_epu8)(a, b); }
    static TAVIK_INLINE Register Max(Register a, Register b) { return TAVIK_SIMD(max_epi8)(a, b); }
    static TAVIK_INLINE Register Min(Register a, Register b) { return TAVIK_SIMD(min_epi8)(a, b); }
    /// The comparisons set all bits of a lane where they are true, and no bits elsewhere.
    static TAVIK_INLINE Register Greater(Register a, Register b) { return TAVIK_SIMD(cmpgt_epi8)(a, b); }
    static TAVIK_INLINE Register Equal(Register a, Register b) { return TAVIK_SIMD(cmpeq_epi8)(a, b); }
    static TAVIK_INLINE Register Or(Register a, Register b) { return TAVIK_SIMD_BITS(or_si)(a, b); }
    static TAVIK_INLINE Register And(Register a, Register b) { return TAVIK_SIMD_BITS(and_si)(a, b); }
    static TAVIK_INLINE Register Xor(Register a, Register b) { return TAVIK_SIMD_BITS(xor_si)(a, b); }
    /// Returns the entries of `table` at `places`, and 0 where a place is negative. Places must not exceed 15. Every 16
    /// lanes of the table must have the same 16 entries.
    static TAVIK_INLINE Register LookUp(Register table, Register places) {
        return TAVIK_SIMD(shuffle_epi8)(table, places);
    }
    /// True if any lane has its highest bit set.
    static TAVIK_INLINE bool HasAny(Register a) { return TAVIK_SIMD(movemask_epi8)(a) != 0; }
    /// Returns the bits of b that are not in a.
    static TAVIK_INLINE Register AndNot(Register a, Register b) { return TAVIK_SIMD_BITS(andnot_si)(a, b); }
    static TAVIK_INLINE Register Select(Register where, Register yes, Register no) {
        return TAVIK_SIMD(blendv_epi8)(no, yes, where);
    }
#if TAVIK_KERNEL_BITS == 256
    /// Loads 16 bytes and repeats them in every 16 lanes.
    static TAVIK_INLINE Register LoadSixteen(const char* from) {
        return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
    }
    /// Stores the lowest 16 lanes.
    static TAVIK_INLINE void StoreSixteen(void* to, Register a) {
        _mm_storeu_si128(static_cast<__m128i*>(to), _mm256_castsi256_si128(a));
    }
    /// Moves each value up by one lane. The lowest lane gets the value of the highest lane of `below`.
    static TAVIK_INLINE Register Up(Register a, Register below) {
        return _mm256_alignr_epi8(a, _mm256_permute2x128_si256(below, a, 0x21), 15);
    }
    /// Moves each value down by one lane. The highest lane gets the value of the lowest lane of `above`.
    static TAVIK_INLINE Register Down(Register a, Register above) {
        return _mm256_alignr_epi8(_mm256_permute2x128_si256(a, above, 0x21), a, 1);
    }
    /// Sets all bits of the first of every 16 lanes, and no others.
    static TAVIK_INLINE Register FirstOfSixteen() {
        return _mm256_broadcastsi128_si256(_mm_cvtsi32_si128(0xFF));
    }
    /// Converts half of the lanes to 16-bit numbers: the lower half if n is even, the upper half if n is odd.
    static TAVIK_INLINE Register WordsOf(Register a, int n) {
        return _mm256_cvtepi8_epi16(n % 2 == 0 ? _mm256_castsi256_si128(a) : _mm256_extracti128_si256(a, 1));
    }
#else
    static TAVIK_INLINE Register LoadSixteen(const char* from) {
        return Load(from);
    }
    static TAVIK_INLINE void StoreSixteen(void* to, Register a) {
        Store(to, a);
    }
    static TAVIK_INLINE Register Up(Register a, Register below) {
        return _mm_alignr_epi8(a, below, 15);
    }
    static TAVIK_INLINE Register Down(Register a, Register above) {
        return _mm_alignr_epi8(above, a, 1);
    }
    static TAVIK_INLINE Register FirstOfSixteen() {
        return _mm_cvtsi32_si128(0xFF);
    }
    static TAVIK_INLINE Register WordsOf(Register a, int n) {
        return _mm_cvtepi8_epi16(n % 2 == 0 ? a : _mm_srli_si128(a, 8));
    }
#endif
};

/// A register of signed 16-bit numbers.
struct Words {
    static constexpr int kWidth = kBits / 16;

    static TAVIK_INLINE Register All(int value) { return TAVIK_SIMD(set1_epi16)(static_cast<std::int16_t>(value)); }
    static TAVIK_INLINE Register Add(Register a, Register b) { return TAVIK_SIMD(add_epi16)(a, b); }
    static TAVIK_INLINE Register Max(Register a, Register b) { return TAVIK_SIMD(max_epi16)(a, b); }
    static TAVIK_INLINE Register Min(Register a, Register b) { return TAVIK_SIMD(min_epi16)(a, b); }
    static TAVIK_INLINE Register Greater(Register a, Register b) { return TAVIK_SIMD(cmpgt_epi16)(a, b); }
    /// Divides by 2^kBy and rounds down.
    template <int kBy>
    static TAVIK_INLINE Register ShiftRight(Register a) {
        return TAVIK_SIMD(srai_epi16)(a, kBy);
    }
    static TAVIK_INLINE Register Equal(Register a, Register b) { return TAVIK_SIMD(cmpeq_epi16)(a, b); }
    static TAVIK_INLINE int Highest(Register a) {
#if TAVIK_KERNEL_BITS == 256
        const __m128i eight = _mm_max_epi16(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
#else
        const __m128i eight = a;
#endif
        // The instruction finds the least unsigned number. The XOR converts signed numbers to unsigned ones in reverse
        // order.
        const __m128i least = _mm_minpos_epu16(_mm_xor_si128(eight, _mm_set1_epi16(INT16_MAX)));
        return static_cast<std::int16_t>(_mm_cvtsi128_si32(least) ^ INT16_MAX);
    }
    /// Returns the sign bits of `a`, then those of `b`. Bit 0 is that of the lowest lane of `a`.
    static TAVIK_INLINE std::uint32_t MaskOf(Register a, Register b) {
        const Register bytes = TAVIK_SIMD(packs_epi16)(a, b);
#if TAVIK_KERNEL_BITS == 256
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_permute4x64_epi64(bytes, 0xD8)));
#else
        return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
#endif
    }
};

}  // namespace
}  // namespace qel_minimap2::kernel
