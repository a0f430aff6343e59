#pragma once

#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#elif !defined(__aarch64__)
#error "Only x86-64 and arm64 are supported: see common/processor.h"
#endif

// Operations that C++ cannot express and that differ between processors.
namespace Common {

/// Lets other threads of the same core run for some cycles. Call it in loops that wait for another thread.
inline void PauseInLoop() {
#if defined(__x86_64__)
    _mm_pause();
#else
    __asm__ volatile("yield");
#endif
}

/// The calling thread's settings for floating-point numbers (MXCSR or FPCR). A new thread inherits them.
inline std::uint64_t FloatingPointSettings() {
#if defined(__x86_64__)
    return _mm_getcsr();
#else
    std::uint64_t settings = 0;
    __asm__ volatile("mrs %0, fpcr" : "=r"(settings));
    return settings;
#endif
}

inline void SetFloatingPointSettings(std::uint64_t settings) {
#if defined(__x86_64__)
    _mm_setcsr(static_cast<unsigned>(settings));
#else
    __asm__ volatile("msr fpcr, %0" : : "r"(settings));
#endif
}

/// The bits of the settings that make denormal operands and results count as zero.
#if defined(__x86_64__)
constexpr std::uint64_t kDenormalsAreZero = 1U << 15U | 1U << 6U;  // Flush to zero, denormals are zero.
#else
constexpr std::uint64_t kDenormalsAreZero = 1U << 24U;  // Flush to zero, for operands and results.
#endif

}  // namespace Common
