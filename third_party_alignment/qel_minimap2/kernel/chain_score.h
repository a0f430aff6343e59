#pragma once

#include <cstdint>

#include <immintrin.h>

#include <mmpriv.h>

#include "third_party_alignment/qel_minimap2/kernel/lanes.h"

namespace qel_minimap2::kernel {
namespace {

/// Scores of eight pairs of neighbours in a chain, with the library's operations on single-precision numbers in the
/// library's order: each is rounded as there. (The files that use it are compiled without fused multiplication and
/// addition, which rounds once instead of twice.)
class PairScores {
public:
    PairScores(float gap_penalty, float skip_penalty, int anchor_length)
        : gap_penalty(_mm256_set1_ps(gap_penalty)),
          skip_penalty(_mm256_set1_ps(skip_penalty)),
          length(_mm256_set1_epi32(anchor_length)) {}

    /// What the second anchor of each pair adds. `apart`: how far the diagonals lie apart; `lesser`: the lesser of the
    /// distances on reference and read; `penalized`: the pairs from which a penalty for both is taken.
    TAVIK_INLINE __m256i Of(__m256i apart, __m256i lesser, __m256i penalized) const {
        const __m256 one_half = _mm256_set1_ps(0.5F);
        const __m256 linear = _mm256_add_ps(_mm256_mul_ps(gap_penalty, _mm256_cvtepi32_ps(apart)),
                                            _mm256_mul_ps(skip_penalty, _mm256_cvtepi32_ps(lesser)));
        const __m256i is_apart = _mm256_cmpgt_epi32(apart, _mm256_setzero_si256());
        const __m256 logarithm =
            _mm256_and_ps(_mm256_castsi256_ps(is_apart), Log2(_mm256_add_epi32(apart, _mm256_set1_epi32(1))));
        const __m256i penalty = _mm256_cvttps_epi32(_mm256_add_ps(linear, _mm256_mul_ps(one_half, logarithm)));
        return _mm256_sub_epi32(_mm256_min_epi32(length, lesser), _mm256_and_si256(penalty, penalized));
    }

    __m256i Length() const { return length; }

private:
    // As the library's mg_log2, for whole numbers of 2 and more.
    static TAVIK_INLINE __m256 Log2(__m256i number) {
        const __m256i bits = _mm256_castps_si256(_mm256_cvtepi32_ps(number));
        const __m256i exponent = _mm256_sub_epi32(_mm256_srli_epi32(bits, 23), _mm256_set1_epi32(128));
        const __m256 fraction = _mm256_castsi256_ps(
            _mm256_or_si256(_mm256_and_si256(bits, _mm256_set1_epi32(0x7FFFFF)), _mm256_set1_epi32(127 << 23)));
        const __m256 inner =
            _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(-0.34484843F), fraction), _mm256_set1_ps(2.02466578F));
        return _mm256_add_ps(_mm256_cvtepi32_ps(exponent),
                             _mm256_sub_ps(_mm256_mul_ps(inner, fraction), _mm256_set1_ps(0.67487759F)));
    }

    __m256 gap_penalty, skip_penalty;
    __m256i length;
};

TAVIK_INLINE __m256i LoadEight(const std::int32_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// The best anchor before one, of the candidates looked at so far.
struct BestBefore {
    std::int32_t score;
    std::int32_t previous = -1;
    int skipped = 0;  // How many more were skipped than were better.
};

/// Looks at the candidates of a block, of which lane 7 comes first. `valid`: which of them can come before the anchor;
/// `better`: which of them beat the best from before the block. Returns the one at which the search ends early, or -1.
TAVIK_INLINE int LookAt(int base, unsigned valid, unsigned better, __m256i totals, std::int32_t mark, int most_skipped,
                        const std::int32_t* previous, std::int32_t* marks, BestBefore& best) {
    alignas(32) std::int32_t scores[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(scores), totals);
    while (valid != 0) {
        const int lane = 31 - __builtin_clz(valid);
        valid ^= 1U << lane;
        const int candidate = base + lane;
        if ((better >> lane & 1U) != 0 && scores[lane] > best.score) {
            best.score = scores[lane];
            best.previous = candidate;
            best.skipped -= best.skipped > 0 ? 1 : 0;
        } else if (marks[candidate] == mark && ++best.skipped > most_skipped) {
            return candidate;
        }
        if (previous[candidate] >= 0) {
            marks[previous[candidate]] = mark;
        }
    }
    return -1;
}

/// The length that all anchors have, or -1 when they differ in it or in their segment or are not sorted by x.
inline int CommonLength(const mm128_t* anchors, std::int64_t count) {
    constexpr std::uint64_t kAlike = 255ULL << 32U | MM_SEED_SEG_MASK;
    std::uint64_t differing = 0;
    bool sorted = true;
    for (std::int64_t i = 1; i < count; ++i) {
        differing |= anchors[i].y ^ anchors[0].y;
        sorted &= anchors[i - 1].x <= anchors[i].x;
    }
    return sorted && (differing & kAlike) == 0 ? static_cast<int>(anchors[0].y >> 32U & 255U) : -1;
}

}  // namespace
}  // namespace qel_minimap2::kernel
