#pragma once

#include <cstdint>

#include <immintrin.h>

#include <mmpriv.h>

#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/lanes.h"

namespace qel_minimap2::kernel {
namespace {

TAVIK_INLINE __m256i LoadEight(const std::int32_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// The length that all anchors share. Returns -1 when the anchors differ in length or segment, are not sorted by x, or
/// are too many.
inline int CommonLength(const Chains& chains) {
    constexpr std::uint64_t kAlike = 255ULL << 32U | MM_SEED_SEG_MASK;
    const auto* const anchors = chains.anchors;
    std::uint64_t differing = 0;
    bool sorted = chains.count <= INT32_MAX / 2;
    for (std::int64_t i = 1; i < chains.count; ++i) {
        differing |= anchors[i].y ^ anchors[0].y;
        sorted &= anchors[i - 1].x <= anchors[i].x;
    }
    return sorted && (differing & kAlike) == 0 ? static_cast<int>(anchors[0].y >> 32U & 255U) : -1;
}

/// The best predecessor of an anchor among the candidates tried so far.
struct BestBefore {
    std::int32_t score;
    std::int32_t previous = -1;
    int skipped = 0;  // The number of candidates skipped, less one for each that was better, never below 0.
};

/// The distances of an anchor from eight candidates before it, and the distances between their diagonals.
struct Distances {
    __m256i on_reference, on_read, apart;
};

/// The base of chaining and joining: lists of the anchors' positions and scores, and the scores of eight pairs of
/// neighbours at a time. Single-precision operations are minimap2's in minimap2's order, so that they round alike.
/// (Files that use this class are compiled without fused multiply-add, which rounds once instead of twice.)
class AnchorPairs {
protected:
    static constexpr int kLanes = 8;

    AnchorPairs(const ChainScoring& scoring, const Chains& chains)
        : anchors(chains.anchors),
          count(static_cast<int>(chains.count)),
          length(CommonLength(chains)),
          scoring(scoring),
          gap_penalty(_mm256_set1_ps(scoring.gap_penalty)),
          skip_penalty(_mm256_set1_ps(scoring.skip_penalty)) {}

    bool IsBeyond(int i, int before, int reach) const {
        return anchors[i].x > anchors[before].x + static_cast<std::uint64_t>(reach);
    }
    bool IsApart(int i, int before, int reach) const {
        return anchors[i].x >> 32U != anchors[before].x >> 32U || IsBeyond(i, before, reach);
    }

    TAVIK_INLINE Distances DistancesTo(int i, int base) const {
        const __m256i on_reference =
            _mm256_sub_epi32(_mm256_set1_epi32(reference_positions[i]), LoadEight(reference_positions + base));
        const __m256i on_read =
            _mm256_sub_epi32(_mm256_set1_epi32(read_positions[i]), LoadEight(read_positions + base));
        return {on_reference, on_read, _mm256_abs_epi32(_mm256_sub_epi32(on_reference, on_read))};
    }

    TAVIK_INLINE __m256i IsOutsideBand(const Distances& distances) const {
        return _mm256_cmpgt_epi32(distances.apart, _mm256_set1_epi32(scoring.band));
    }

    /// The scores of the chains through eight candidates, `base` the first, to the anchor at these distances from them.
    /// Overlapping neighbours on the same diagonal have no penalty.
    TAVIK_INLINE __m256i Totals(const Distances& distances, int base) const {
        const auto [on_reference, on_read, apart] = distances;
        const __m256i lengths = _mm256_set1_epi32(length);
        const __m256i lesser = _mm256_min_epi32(on_reference, on_read);
        const __m256 linear = _mm256_add_ps(_mm256_mul_ps(gap_penalty, _mm256_cvtepi32_ps(apart)),
                                            _mm256_mul_ps(skip_penalty, _mm256_cvtepi32_ps(lesser)));
        const __m256i is_apart = _mm256_cmpgt_epi32(apart, _mm256_setzero_si256());
        const __m256 logarithm =
            _mm256_and_ps(_mm256_castsi256_ps(is_apart), Log2(_mm256_add_epi32(apart, _mm256_set1_epi32(1))));
        const __m256i penalty =
            _mm256_cvttps_epi32(_mm256_add_ps(linear, _mm256_mul_ps(_mm256_set1_ps(0.5F), logarithm)));
        const __m256i penalized = _mm256_or_si256(is_apart, _mm256_cmpgt_epi32(lesser, lengths));
        const __m256i added = _mm256_sub_epi32(_mm256_min_epi32(lengths, lesser), _mm256_and_si256(penalty, penalized));
        return _mm256_add_epi32(added, LoadEight(scores + base));
    }

    /// Tries the `valid` lanes of the eight candidates from `base` on, lane 7 first. Returns the candidate at which the
    /// search ends early, or -1.
    TAVIK_INLINE int LookAt(int base, unsigned valid, __m256i totals, std::int32_t mark, BestBefore& best) const {
        const int most_skipped = scoring.most_skipped;
        alignas(32) std::int32_t total[kLanes];
        _mm256_store_si256(reinterpret_cast<__m256i*>(total), totals);
        while (valid != 0) {
            const int lane = 31 - __builtin_clz(valid);
            valid ^= 1U << lane;
            const int candidate = base + lane;
            if (total[lane] > best.score) {
                best.score = total[lane];
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

    const mm128_t* const anchors;
    const int count;
    const int length;  // The length of each anchor, in bases.
    std::int32_t *reference_positions = nullptr, *read_positions = nullptr, *scores = nullptr, *previous = nullptr,
                 *marks = nullptr;

private:
    // The same as minimap2's mg_log2, for integers of 2 and more.
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

    const ChainScoring& scoring;
    const __m256 gap_penalty, skip_penalty;
};

}  // namespace
}  // namespace qel_minimap2::kernel
