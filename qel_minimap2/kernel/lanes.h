#pragma once

#include <cstdint>

#include <immintrin.h>

/// For functions inside the kernels' loops: a call would spill every register.
#define TAVIK_INLINE inline __attribute__((always_inline))
#ifdef __clang__
#define TAVIK_UNROLL _Pragma("unroll")
#else
#define TAVIK_UNROLL _Pragma("GCC unroll 8")
#endif

// The kernels' headers put everything into an unnamed namespace. They are compiled for AVX2, and the linker must not
// pick such a copy of a function for code that runs on any processor. For the same reason they use no standard
// containers or algorithms.
namespace qel_minimap2::kernel {
namespace {

constexpr int Larger(int a, int b) {
    return a > b ? a : b;
}
constexpr int Smaller(int a, int b) {
    return a < b ? a : b;
}
/// `n` rounded down to a multiple of `step`; n >= 0.
constexpr int RoundDown(int n, int step) {
    return n / step * step;
}

/// 32 signed bytes.
struct Lanes32 {
    using Register = __m256i;
    static constexpr int kWidth = 32;

    static TAVIK_INLINE Register Load(const void* from) {
        return _mm256_loadu_si256(static_cast<const __m256i*>(from));
    }
    static TAVIK_INLINE void Store(void* to, Register a) { _mm256_storeu_si256(static_cast<__m256i*>(to), a); }
    /// The lowest 16 lanes.
    static TAVIK_INLINE void StoreHalf(void* to, Register a) {
        _mm_storeu_si128(static_cast<__m128i*>(to), _mm256_castsi256_si128(a));
    }
    static TAVIK_INLINE Register All(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }
    static TAVIK_INLINE Register Add(Register a, Register b) { return _mm256_add_epi8(a, b); }
    static TAVIK_INLINE Register Subtract(Register a, Register b) { return _mm256_sub_epi8(a, b); }
    /// Unsigned lanes; 0 where b is larger.
    static TAVIK_INLINE Register SubtractOrZero(Register a, Register b) { return _mm256_subs_epu8(a, b); }
    static TAVIK_INLINE Register Max(Register a, Register b) { return _mm256_max_epi8(a, b); }
    static TAVIK_INLINE Register Min(Register a, Register b) { return _mm256_min_epi8(a, b); }
    /// All bits of a lane set where it is true, none elsewhere.
    static TAVIK_INLINE Register Greater(Register a, Register b) { return _mm256_cmpgt_epi8(a, b); }
    static TAVIK_INLINE Register Equal(Register a, Register b) { return _mm256_cmpeq_epi8(a, b); }
    static TAVIK_INLINE Register Or(Register a, Register b) { return _mm256_or_si256(a, b); }
    static TAVIK_INLINE Register And(Register a, Register b) { return _mm256_and_si256(a, b); }
    static TAVIK_INLINE Register Xor(Register a, Register b) { return _mm256_xor_si256(a, b); }
    /// The entries of a table, repeated in both halves, at places from 0 to 15.
    static TAVIK_INLINE Register LookUp(Register table, Register places) { return _mm256_shuffle_epi8(table, places); }
    /// `value` where a, which is not negative, is above 0; 0 elsewhere.
    static TAVIK_INLINE Register WhereAboveZero(Register a, Register value) { return _mm256_sign_epi8(value, a); }
    /// b without the lanes of a.
    static TAVIK_INLINE Register AndNot(Register a, Register b) { return _mm256_andnot_si256(a, b); }
    static TAVIK_INLINE Register Select(Register where, Register yes, Register no) {
        return _mm256_blendv_epi8(no, yes, where);
    }
    /// Each lane takes the value of the lane below it; the lowest takes the highest of `below`.
    static TAVIK_INLINE Register Up(Register a, Register below) {
        return _mm256_alignr_epi8(a, _mm256_permute2x128_si256(below, a, 0x21), 15);
    }
    /// Each lane takes the value of the lane above it; the highest takes the lowest of `above`.
    static TAVIK_INLINE Register Down(Register a, Register above) {
        return _mm256_alignr_epi8(_mm256_permute2x128_si256(a, above, 0x21), a, 1);
    }
};

/// The sign bits of eight 32-bit lanes; bit 0 is the lowest lane's.
TAVIK_INLINE unsigned MaskOf(__m256i lanes) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

}  // namespace
}  // namespace qel_minimap2::kernel
