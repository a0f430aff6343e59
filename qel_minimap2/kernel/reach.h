#pragma once

#include <cstddef>
#include <cstdint>

#include <immintrin.h>

#include "qel_minimap2/kernel/lanes.h"

namespace qel_minimap2::kernel {
namespace {

/// The penalties of the anchors in reach, each at its rank, and the least one of a range of ranks: a list with the
/// least of each 32 beside it. What is not in reach has an infinite one.
class Penalties {
public:
    static constexpr int kBlock = 32;
    static constexpr double kNone = __builtin_inf();

    /// How many numbers `Start` takes for as many ranks.
    static constexpr std::size_t RoomFor(int count) {
        return static_cast<std::size_t>(count) * 34 / 32 + std::size_t{3} * kBlock;
    }

    /// Begins anew, with nothing in reach.
    void Start(double* room, int count) {
        const int blocks = count / kBlock + 1;
        ranks = room;
        least = room + static_cast<std::ptrdiff_t>(blocks) * kBlock;
        for (int i = 0; i < blocks * kBlock + blocks + kLanes; ++i) {
            room[i] = kNone;
        }
    }

    void Put(int rank, double penalty) {
        ranks[rank] = penalty;
        double& block = least[rank / kBlock];
        block = penalty < block ? penalty : block;
    }

    void Remove(int rank) {
        double& block = least[rank / kBlock];
        const bool was_least = ranks[rank] == block;
        ranks[rank] = kNone;
        if (was_least) {
            const int first = RoundDown(rank, kBlock);
            block = LeastOf(ranks, first, first + kBlock - 1);
        }
    }

    /// The rank of the least penalty from `first` to `last`; -1 when nothing is there, -2 when two are equal.
    int Least(int first, int last) const {
        const int first_whole = (first + kBlock - 1) / kBlock;
        const int end_whole = (last + 1) / kBlock;
        if (first_whole >= end_whole) {
            const double lowest = LeastOf(ranks, first, last);
            int at = -1;
            return lowest == kNone ? -1 : Only(ranks, first, last, lowest, at) ? at : -2;
        }
        const double low_end = LeastOf(ranks, first, first_whole * kBlock - 1);
        const double high_end = LeastOf(ranks, end_whole * kBlock, last);
        double lowest = LeastOf(least, first_whole, end_whole - 1);
        const double ends = low_end < high_end ? low_end : high_end;
        lowest = ends < lowest ? ends : lowest;
        if (lowest == kNone) {
            return -1;
        }
        int at = -1;
        int block = -1;
        const bool only = Only(ranks, first, first_whole * kBlock - 1, lowest, at) &&
                          Only(ranks, end_whole * kBlock, last, lowest, at) &&
                          Only(least, first_whole, end_whole - 1, lowest, block) && (at < 0 || block < 0) &&
                          (block < 0 || Only(ranks, block * kBlock, block * kBlock + kBlock - 1, lowest, at));
        return only ? at : -2;
    }

private:
    static constexpr int kLanes = 4;

    // The least of a list's entries from `first` to `last`, both included.
    static TAVIK_INLINE double LeastOf(const double* list, int first, int last) {
        __m256d lanes = _mm256_set1_pd(kNone);
        int i = first;
        for (; i + kLanes <= last + 1; i += kLanes) {
            lanes = _mm256_min_pd(lanes, _mm256_loadu_pd(list + i));
        }
        __m128d two = _mm_min_pd(_mm256_castpd256_pd128(lanes), _mm256_extractf128_pd(lanes, 1));
        for (; i <= last; ++i) {
            two = _mm_min_sd(two, _mm_load_sd(list + i));
        }
        return _mm_cvtsd_f64(_mm_min_sd(two, _mm_unpackhi_pd(two, two)));
    }

    // Looks for a value; `at` takes its place. False when it, or one found before, is there besides.
    static TAVIK_INLINE bool Only(const double* list, int first, int last, double value, int& at) {
        for (int i = first; i <= last; i += kLanes) {
            auto equal = static_cast<unsigned>(
                _mm256_movemask_pd(_mm256_cmp_pd(_mm256_loadu_pd(list + i), _mm256_set1_pd(value), _CMP_EQ_OQ)));
            if (last - i < kLanes - 1) {
                equal &= (2U << static_cast<unsigned>(last - i)) - 1;
            }
            if (equal == 0) {
                continue;
            }
            if (at >= 0 || (equal & (equal - 1)) != 0) {
                return false;
            }
            at = i + __builtin_ctz(equal);
        }
        return true;
    }

    double* ranks = nullptr;
    double* least = nullptr;
};

}  // namespace
}  // namespace qel_minimap2::kernel
