#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/intrinsics.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/numbers.h"

namespace qel_minimap2::kernel {
namespace {

/// Finds the lowest penalty in any range of ranks. There are three lists: the penalties of the anchors by rank, the
/// minimum of every 32 penalties, and the minimum of every 32 of those minima. An anchor out of reach has an infinite
/// penalty.
class Penalties {
public:
    static constexpr double kNone = __builtin_inf();

    /// Returns the size of the memory that `Start` needs for `count` ranks, in doubles.
    static constexpr std::size_t SizeFor(int count) {
        const auto minima = static_cast<std::size_t>(count) / kFanOut + 1;
        const auto minima_of_minima = minima / kFanOut + 1;
        return minima * kFanOut + minima_of_minima * kFanOut + minima_of_minima + kLanes;
    }

    /// Starts with no anchor in reach. `memory` has room for SizeFor(`count`) doubles, and must stay valid until the
    /// next call to Start or the last use of this object.
    void Start(double* memory, int count) {
        const std::ptrdiff_t minima = count / kFanOut + 1;
        lists[0] = memory;
        lists[1] = lists[0] + minima * kFanOut;
        lists[2] = lists[1] + (minima / kFanOut + 1) * kFanOut;
        for (std::size_t i = 0; i < SizeFor(count); ++i) {
            memory[i] = kNone;
        }
    }

    void Put(int rank, double penalty) {
        lists[0][rank] = penalty;
        for (int level = 1; level < kLevels; ++level) {
            rank /= kFanOut;
            double& least = lists[level][rank];
            least = penalty < least ? penalty : least;
        }
    }

    void Remove(int rank) {
        const double removed = lists[0][rank];
        lists[0][rank] = kNone;
        for (int level = 1; level < kLevels; ++level) {
            rank /= kFanOut;
            double& least = lists[level][rank];
            if (removed != least) {
                return;
            }
            least = LeastOf({level - 1, rank * kFanOut, (rank + 1) * kFanOut});
        }
    }

    /// The lowest penalty in a range of ranks.
    struct Minimum {
        double penalty = kNone;
        int rank = -1;        // The lowest rank with that penalty; -1 if no anchor of the range is in reach.
        bool is_only = true;  // Whether no other rank of the range has the same penalty.
    };

    /// Returns the lowest penalty among the ranks from `first` to `last`, both included.
    Minimum Least(int first, int last) const {
        // At each level, complete sets of 32 entries are read as minima from the next list. Only the entries before and
        // after these sets are read from the list of this level.
        Found found;
        int begin = first;
        int end = last + 1;
        int level = 0;
        for (int next_begin = 0, next_end = 0; level < kLevels - 1; ++level, begin = next_begin, end = next_end) {
            next_begin = (begin + kFanOut - 1) / kFanOut;
            next_end = end / kFanOut;
            if (next_begin >= next_end) {
                break;
            }
            Look({level, begin, next_begin * kFanOut}, found);
            Look({level, next_end * kFanOut, end}, found);
        }
        Look({level, begin, end}, found);
        if (found.least == kNone) {
            return {};
        }
        if (found.is_only) {
            int at = OnlyPlace(found.where, found.least);
            for (level = found.where.level - 1; at >= 0 && level >= 0; --level) {
                at = OnlyPlace({level, at * kFanOut, (at + 1) * kFanOut}, found.least);
            }
            if (at >= 0) {
                return {found.least, at, true};
            }
        }
        return {found.least, Next(first, last, found.least), false};
    }

    /// Returns the lowest rank from `first` to `last`, both included, with exactly this penalty, or -1.
    int Next(int first, int last, double penalty) const {
        for (int rank = first; rank <= last;) {
            if (rank % (kFanOut * kFanOut) == 0 && lists[2][rank / (kFanOut * kFanOut)] > penalty) {
                rank += kFanOut * kFanOut;
            } else if (rank % kFanOut == 0 && lists[1][rank / kFanOut] > penalty) {
                rank += kFanOut;
            } else if (lists[0][rank] == penalty) {
                return rank;
            } else {
                ++rank;
            }
        }
        return -1;
    }

private:
    static constexpr int kFanOut = 32;
    static constexpr int kLevels = 3;
    static constexpr int kLanes = Doubles::kWidth;

    // The entries of one list from `begin` up to, not including, `end`.
    struct Range {
        int level, begin, end;
    };
    struct Found {
        double least = kNone;
        bool is_only = true;  // Whether no other range searched so far has this penalty.
        Range where{};
    };

    TAVIK_INLINE void Look(const Range& range, Found& found) const {
        const double least = LeastOf(range);
        if (least < found.least) {
            found = {least, true, range};
        } else if (least == found.least) {
            found.is_only = false;
        }
    }

    TAVIK_INLINE double LeastOf(const Range& range) const {
        const double* const list = lists[range.level];
        DoubleRegister lanes = Doubles::All(kNone);
        int i = range.begin;
        for (; i + kLanes <= range.end; i += kLanes) {
            lanes = Doubles::Min(lanes, Doubles::Load(list + i));
        }
        __m128d two = Doubles::LeastTwo(lanes);
        for (; i < range.end; ++i) {
            two = _mm_min_sd(two, _mm_load_sd(list + i));
        }
        return _mm_cvtsd_f64(_mm_min_sd(two, _mm_unpackhi_pd(two, two)));
    }

    // Returns the index of `value`, which must occur in the range, or -1 if it occurs more than once.
    TAVIK_INLINE int OnlyPlace(const Range& range, double value) const {
        const double* const list = lists[range.level];
        int at = -1;
        for (int i = range.begin; i < range.end; i += kLanes) {
            auto equal = Doubles::MaskOfEqual(Doubles::Load(list + i), Doubles::All(value));
            if (range.end - i < kLanes) {
                equal &= (1U << static_cast<unsigned>(range.end - i)) - 1;
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
