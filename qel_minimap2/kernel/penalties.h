#pragma once

#include <cstddef>
#include <cstdint>

#include <immintrin.h>

#include "qel_minimap2/kernel/lanes.h"

namespace qel_minimap2::kernel {
namespace {

/// The penalties of the anchors in reach, each at its rank, and the least one of a range of ranks: a list, a second one
/// with the least of each 32 entries, and a third one with the least of each 32 of those. A search looks at no more
/// than 62 entries of the first and of the second list. What is not in reach has an infinite penalty.
class Penalties {
public:
    static constexpr double kNone = __builtin_inf();

    /// How many numbers `Start` takes for as many ranks.
    static constexpr std::size_t RoomFor(int count) {
        const auto blocks = static_cast<std::size_t>(count) / kBlock + 1;
        const auto blocks_of_blocks = blocks / kBlock + 1;
        return blocks * kBlock + blocks_of_blocks * kBlock + blocks_of_blocks + kLanes;
    }

    /// Begins anew, with nothing in reach.
    void Start(double* room, int count) {
        const std::ptrdiff_t blocks = count / kBlock + 1;
        lists[0] = room;
        lists[1] = lists[0] + blocks * kBlock;
        lists[2] = lists[1] + (blocks / kBlock + 1) * kBlock;
        for (std::size_t i = 0; i < RoomFor(count); ++i) {
            room[i] = kNone;
        }
    }

    void Put(int rank, double penalty) {
        lists[0][rank] = penalty;
        for (int level = 1; level < kLevels; ++level) {
            rank /= kBlock;
            double& least = lists[level][rank];
            least = penalty < least ? penalty : least;
        }
    }

    void Remove(int rank) {
        const double removed = lists[0][rank];
        lists[0][rank] = kNone;
        for (int level = 1; level < kLevels; ++level) {
            rank /= kBlock;
            double& least = lists[level][rank];
            if (removed != least) {
                return;
            }
            least = LeastOf({level - 1, rank * kBlock, (rank + 1) * kBlock});
        }
    }

    /// The least penalty in a range.
    struct Minimum {
        double penalty = kNone;
        int rank = -1;        // The lowest that has it, -1 when nothing is in the range.
        bool is_only = true;  // Whether no other rank of the range has it.
    };

    /// From rank `first` to `last`.
    Minimum Least(int first, int last) const {
        // Whole blocks are looked at in the list above, what is left before and after them in the list itself.
        Found found;
        int begin = first;
        int end = last + 1;
        int level = 0;
        for (int block = 0, end_block = 0; level < kLevels - 1; ++level, begin = block, end = end_block) {
            block = (begin + kBlock - 1) / kBlock;
            end_block = end / kBlock;
            if (block >= end_block) {
                break;
            }
            Look({level, begin, block * kBlock}, found);
            Look({level, end_block * kBlock, end}, found);
        }
        Look({level, begin, end}, found);
        if (found.least == kNone) {
            return {};
        }
        if (found.is_only) {
            int at = OnlyPlace(found.where, found.least);
            for (level = found.where.level - 1; at >= 0 && level >= 0; --level) {
                at = OnlyPlace({level, at * kBlock, (at + 1) * kBlock}, found.least);
            }
            if (at >= 0) {
                return {found.least, at, true};
            }
        }
        return {found.least, Next(first, last, found.least), false};
    }

    /// The lowest rank from `first` to `last` that has a penalty, or -1.
    int Next(int first, int last, double penalty) const {
        for (int rank = first; rank <= last;) {
            if (rank % (kBlock * kBlock) == 0 && lists[2][rank / (kBlock * kBlock)] > penalty) {
                rank += kBlock * kBlock;
            } else if (rank % kBlock == 0 && lists[1][rank / kBlock] > penalty) {
                rank += kBlock;
            } else if (lists[0][rank] == penalty) {
                return rank;
            } else {
                ++rank;
            }
        }
        return -1;
    }

private:
    static constexpr int kBlock = 32;
    static constexpr int kLevels = 3;
    static constexpr int kLanes = 4;

    // A part of a list.
    struct Piece {
        int level, begin, end;
    };
    struct Found {
        double least = kNone;
        bool is_only = true;  // In no other piece.
        Piece where{};
    };

    TAVIK_INLINE void Look(const Piece& piece, Found& found) const {
        const double least = LeastOf(piece);
        if (least < found.least) {
            found = {least, true, piece};
        } else if (least == found.least) {
            found.is_only = false;
        }
    }

    TAVIK_INLINE double LeastOf(const Piece& piece) const {
        const double* const list = lists[piece.level];
        __m256d lanes = _mm256_set1_pd(kNone);
        int i = piece.begin;
        for (; i + kLanes <= piece.end; i += kLanes) {
            lanes = _mm256_min_pd(lanes, _mm256_loadu_pd(list + i));
        }
        __m128d two = _mm_min_pd(_mm256_castpd256_pd128(lanes), _mm256_extractf128_pd(lanes, 1));
        for (; i < piece.end; ++i) {
            two = _mm_min_sd(two, _mm_load_sd(list + i));
        }
        return _mm_cvtsd_f64(_mm_min_sd(two, _mm_unpackhi_pd(two, two)));
    }

    // Where a value that is there lies, or -1 when it is there twice.
    TAVIK_INLINE int OnlyPlace(const Piece& piece, double value) const {
        const double* const list = lists[piece.level];
        int at = -1;
        for (int i = piece.begin; i < piece.end; i += kLanes) {
            auto equal = static_cast<unsigned>(
                _mm256_movemask_pd(_mm256_cmp_pd(_mm256_loadu_pd(list + i), _mm256_set1_pd(value), _CMP_EQ_OQ)));
            if (piece.end - i < kLanes) {
                equal &= (1U << static_cast<unsigned>(piece.end - i)) - 1;
            }
            if (equal == 0) {
                continue;
            }
            if (at >= 0 || (equal & (equal - 1)) != 0) {
                return -1;
            }
            at = i + __builtin_ctz(equal);
        }
        return at;
    }

    double* lists[kLevels] = {};
};

}  // namespace
}  // namespace qel_minimap2::kernel
