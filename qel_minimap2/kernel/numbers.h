#pragma once

#include <cstdint>

#include "qel_minimap2/kernel/intrinsics.h"
#include "qel_minimap2/kernel/lanes.h"

namespace qel_minimap2::kernel {
namespace {

/// A register of signed 32-bit numbers.
struct Ints {
    static constexpr int kWidth = kBits / 32;
    static constexpr unsigned kAll = (1U << kWidth) - 1;  ///< One bit for each lane.

    static TAVIK_INLINE Register Load(const std::int32_t* from) { return Lanes::Load(from); }
    static TAVIK_INLINE void Store(std::int32_t* to, Register a) { Lanes::Store(to, a); }
    static TAVIK_INLINE Register All(std::int32_t value) { return TAVIK_SIMD(set1_epi32)(value); }
    static TAVIK_INLINE Register Add(Register a, Register b) { return TAVIK_SIMD(add_epi32)(a, b); }
    static TAVIK_INLINE Register Subtract(Register a, Register b) { return TAVIK_SIMD(sub_epi32)(a, b); }
    static TAVIK_INLINE Register Magnitude(Register a) { return TAVIK_SIMD(abs_epi32)(a); }
    static TAVIK_INLINE Register Max(Register a, Register b) { return TAVIK_SIMD(max_epi32)(a, b); }
    static TAVIK_INLINE Register Min(Register a, Register b) { return TAVIK_SIMD(min_epi32)(a, b); }
    static TAVIK_INLINE Register Greater(Register a, Register b) { return TAVIK_SIMD(cmpgt_epi32)(a, b); }
    static TAVIK_INLINE Register Equal(Register a, Register b) { return TAVIK_SIMD(cmpeq_epi32)(a, b); }
    template <int kBy>
    static TAVIK_INLINE Register ShiftLeft(Register a) {
        return TAVIK_SIMD(slli_epi32)(a, kBy);
    }
    using Shift = __m128i;
    static TAVIK_INLINE Shift ShiftBy(int bits) { return _mm_cvtsi32_si128(bits); }
    static TAVIK_INLINE Register ShiftLeft(Register a, Shift by) { return TAVIK_SIMD(sll_epi32)(a, by); }
    /// Shifts zeros into the highest bits.
    template <int kBy>
    static TAVIK_INLINE Register ShiftRight(Register a) {
        return TAVIK_SIMD(srli_epi32)(a, kBy);
    }
    static TAVIK_INLINE FloatRegister ToFloats(Register a) { return TAVIK_SIMD(cvtepi32_ps)(a); }
    /// Sets all bits of the lowest `count` lanes; no bits if `count` is below 1.
    static TAVIK_INLINE Register Lowest(int count) {
        alignas(32) static constexpr std::int32_t kNumbers[] = {0, 1, 2, 3, 4, 5, 6, 7};
        return Greater(All(count), Load(kNumbers));
    }
    /// Loads bytes and converts them to 32-bit numbers.
    static TAVIK_INLINE Register Load(const std::int8_t* from) {
#if TAVIK_KERNEL_BITS == 256
        return _mm256_cvtepi8_epi32(_mm_loadu_si64(from));
#else
        std::int32_t four = 0;
        __builtin_memcpy(&four, from, sizeof four);
        return _mm_cvtepi8_epi32(_mm_cvtsi32_si128(four));
#endif
    }
    static TAVIK_INLINE Register Load(const std::uint8_t* from) {
#if TAVIK_KERNEL_BITS == 256
        return _mm256_cvtepu8_epi32(_mm_loadu_si64(from));
#else
        std::int32_t four = 0;
        __builtin_memcpy(&four, from, sizeof four);
        return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(four));
#endif
    }
    /// Returns the sign bits. Bit 0 is that of the lowest lane.
    static TAVIK_INLINE unsigned MaskOf(Register a) {
#if TAVIK_KERNEL_BITS == 256
        return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(a)));
#else
        return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(a)));
#endif
    }
    /// Returns, in each lane, a 1 shifted left by the number in that lane of `a`; 0 if the number is negative. The
    /// numbers must be below 2 * kWidth.
    static TAVIK_INLINE Register OneShiftedLeft(Register a) {
#if TAVIK_KERNEL_BITS == 256
        return _mm256_sllv_epi32(All(1), a);
#else
        // In a number that is not negative, all bytes except the lowest are 0, and the table has a 1 for 0. Only the
        // lowest byte of each lane is therefore kept. For bytes of -1, the instruction returns 0.
        const Register table = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0);
        return Lanes::And(Lanes::LookUp(table, Max(a, All(-1))), All(255));
#endif
    }
    /// Returns the bitwise OR of all lanes.
    static TAVIK_INLINE unsigned Any(Register a) {
#if TAVIK_KERNEL_BITS == 256
        __m128i m = _mm_or_si128(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
#else
        __m128i m = a;
#endif
        m = _mm_or_si128(m, _mm_shuffle_epi32(m, 0x4e));
        m = _mm_or_si128(m, _mm_shuffle_epi32(m, 0xb1));
        return static_cast<unsigned>(_mm_cvtsi128_si32(m));
    }
    /// Returns the lowest lane.
    static TAVIK_INLINE std::int32_t First(Register a) {
#if TAVIK_KERNEL_BITS == 256
        return _mm256_extract_epi32(a, 0);
#else
        return _mm_cvtsi128_si32(a);
#endif
    }
    static TAVIK_INLINE std::int32_t Highest(Register a) {
#if TAVIK_KERNEL_BITS == 256
        __m128i m = _mm_max_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
#else
        __m128i m = a;
#endif
        m = _mm_max_epi32(m, _mm_shuffle_epi32(m, 0x4e));
        m = _mm_max_epi32(m, _mm_shuffle_epi32(m, 0xb1));
        return _mm_cvtsi128_si32(m);
    }
    static TAVIK_INLINE std::int32_t Least(Register a) {
#if TAVIK_KERNEL_BITS == 256
        __m128i m = _mm_min_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
#else
        __m128i m = a;
#endif
        m = _mm_min_epi32(m, _mm_shuffle_epi32(m, 0x4e));
        m = _mm_min_epi32(m, _mm_shuffle_epi32(m, 0xb1));
        return _mm_cvtsi128_si32(m);
    }
};

/// A register of single-precision numbers.
struct Floats {
    static TAVIK_INLINE FloatRegister All(float value) { return TAVIK_SIMD(set1_ps)(value); }
    static TAVIK_INLINE FloatRegister Add(FloatRegister a, FloatRegister b) { return TAVIK_SIMD(add_ps)(a, b); }
    static TAVIK_INLINE FloatRegister Multiply(FloatRegister a, FloatRegister b) { return TAVIK_SIMD(mul_ps)(a, b); }
    /// Rounds towards 0.
    static TAVIK_INLINE Register ToInts(FloatRegister a) { return TAVIK_SIMD(cvttps_epi32)(a); }
#if TAVIK_KERNEL_BITS == 256
    static TAVIK_INLINE Register Bits(FloatRegister a) {
        return _mm256_castps_si256(a);
    }
    static TAVIK_INLINE FloatRegister OfBits(Register a) {
        return _mm256_castsi256_ps(a);
    }
#else
    static TAVIK_INLINE Register Bits(FloatRegister a) {
        return _mm_castps_si128(a);
    }
    static TAVIK_INLINE FloatRegister OfBits(Register a) {
        return _mm_castsi128_ps(a);
    }
#endif
};

/// A register of double-precision numbers.
struct Doubles {
    static constexpr int kWidth = kBits / 64;

    static TAVIK_INLINE DoubleRegister Load(const double* from) { return TAVIK_SIMD(loadu_pd)(from); }
    static TAVIK_INLINE DoubleRegister All(double value) { return TAVIK_SIMD(set1_pd)(value); }
    static TAVIK_INLINE DoubleRegister Min(DoubleRegister a, DoubleRegister b) { return TAVIK_SIMD(min_pd)(a, b); }
#if TAVIK_KERNEL_BITS == 256
    /// Bit 0 is 1 if the numbers in the lowest lanes are equal.
    static TAVIK_INLINE unsigned MaskOfEqual(DoubleRegister a, DoubleRegister b) {
        return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_EQ_OQ)));
    }
    /// Returns two numbers. The lesser one is the least number in `a`.
    static TAVIK_INLINE __m128d LeastTwo(DoubleRegister a) {
        return _mm_min_pd(_mm256_castpd256_pd128(a), _mm256_extractf128_pd(a, 1));
    }
#else
    static TAVIK_INLINE unsigned MaskOfEqual(DoubleRegister a, DoubleRegister b) {
        return static_cast<unsigned>(_mm_movemask_pd(_mm_cmpeq_pd(a, b)));
    }
    static TAVIK_INLINE __m128d LeastTwo(DoubleRegister a) {
        return a;
    }
#endif
};

/// Returns a * b + c, rounded as in minimap2: twice on x86-64, but once on arm64. On arm64, every processor can fuse
/// the two operations, and compilers do so in minimap2 at the places where the kernels call this function.
TAVIK_INLINE FloatRegister MultiplyAdd(FloatRegister a, FloatRegister b, FloatRegister c) {
#ifdef __aarch64__
    return TAVIK_SIMD(fmadd_ps)(a, b, c);
#else
    return Floats::Add(Floats::Multiply(a, b), c);
#endif
}
TAVIK_INLINE double MultiplyAdd(double a, double b, double c) {
#ifdef __aarch64__
    return __builtin_fma(a, b, c);
#else
    return a * b + c;
#endif
}

}  // namespace
}  // namespace qel_minimap2::kernel
