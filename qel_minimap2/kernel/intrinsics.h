#pragma once

// The kernels are written once for both widths of registers: TAVIK_SIMD(add_epi8) is _mm256_add_epi8 or _mm_add_epi8.
// On processors other than x86-64, SIMDe provides the functions for 128 bits.
#if TAVIK_KERNEL_BITS == 256
#include <immintrin.h>
#define TAVIK_SIMD(operation) _mm256_##operation
#define TAVIK_SIMD_BITS(operation) _mm256_##operation##256
#else
#ifdef __x86_64__
#include <smmintrin.h>
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/fma.h>
#include <simde/x86/sse4.1.h>
#endif
#define TAVIK_SIMD(operation) _mm_##operation
#define TAVIK_SIMD_BITS(operation) _mm_##operation##128
#endif

namespace qel_minimap2::kernel {
namespace {

inline constexpr int kBits = TAVIK_KERNEL_BITS;
#if TAVIK_KERNEL_BITS == 256
using Register = __m256i;
using FloatRegister = __m256;
using DoubleRegister = __m256d;
#else
using Register = __m128i;
using FloatRegister = __m128;
using DoubleRegister = __m128d;
#endif

}  // namespace
}  // namespace qel_minimap2::kernel
