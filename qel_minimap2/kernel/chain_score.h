#pragma once

#include <cstdint>

#include <mmpriv.h>

#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/intrinsics.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/numbers.h"

namespace qel_minimap2::kernel {
namespace {

/// Returns the length that all anchors share, or -1 if the anchors differ in length or segment, are not sorted by x, or
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
    int skipped = 0;  // Rises with each skipped candidate, and falls with each better one, but not below 0.
};

/// The distances of an anchor from a register of candidates: on the reference, on the read, and between the diagonals.
struct Distances {
    Register on_reference, on_read, apart;
};

/// The base class of chaining and joining. It has lists of the anchors' positions and scores, and computes the scores
/// of a register of candidates at once. Single-precision operations are minimap2's, in the same order, so that results
/// are rounded in the same way.
class AnchorPairs {
protected:
    static constexpr int kLanes = Ints::kWidth;

    AnchorPairs(const ChainScoring& scoring, const Chains& chains)
        : anchors(chains.anchors),
          count(static_cast<int>(chains.count)),
          length(CommonLength(chains)),
          scoring(scoring),
          gap_penalty(Floats::All(scoring.gap_penalty)),
          skip_penalty(Floats::All(scoring.skip_penalty)) {}

    bool IsBeyond(int i, int before, int reach) const {
        return anchors[i].x > anchors[before].x + static_cast<std::uint64_t>(reach);
    }
    bool IsApart(int i, int before, int reach) const {
        return anchors[i].x >> 32U != anchors[before].x >> 32U || IsBeyond(i, before, reach);
    }

    TAVIK_INLINE Distances DistancesTo(int i, int base) const {
        const Register on_reference =
            Ints::Subtract(Ints::All(reference_positions[i]), Ints::Load(reference_positions + base));
        const Register on_read = Ints::Subtract(Ints::All(read_positions[i]), Ints::Load(read_positions + base));
        return {on_reference, on_read, Ints::Magnitude(Ints::Subtract(on_reference, on_read))};
    }

    TAVIK_INLINE Register IsOutsideBand(const Distances& distances) const {
        return Ints::Greater(distances.apart, Ints::All(scoring.band));
    }

    /// Returns, for each candidate from `base` on, the score of an anchor that follows the candidate at these
    /// distances. Neighbours on the same diagonal that overlap or adjoin have no penalty.
    TAVIK_INLINE Register Totals(const Distances& distances, int base) const {
        const auto [on_reference, on_read, apart] = distances;
        const Register lengths = Ints::All(length);
        const Register lesser = Ints::Min(on_reference, on_read);
        const FloatRegister linear =
            MultiplyAdd(gap_penalty, Ints::ToFloats(apart), Floats::Multiply(skip_penalty, Ints::ToFloats(lesser)));
        const Register is_apart = Ints::Greater(apart, Ints::All(0));
        const FloatRegister logarithm = Log2(Ints::Add(apart, Ints::All(1)));
        const FloatRegister log_penalty =
            Floats::OfBits(Lanes::And(is_apart, Floats::Bits(Floats::Multiply(Floats::All(0.5F), logarithm))));
        const Register penalty = Floats::ToInts(Floats::Add(linear, log_penalty));
        const Register penalized = Lanes::Or(is_apart, Ints::Greater(lesser, lengths));
        const Register added = Ints::Subtract(Ints::Min(lengths, lesser), Lanes::And(penalty, penalized));
        return Ints::Add(added, Ints::Load(scores + base));
    }

    /// Tries the candidates in the `valid` lanes from `base` on, the highest lane first. `mark` is a number that no
    /// other search uses. Returns the candidate at which the search ends early, or -1.
    TAVIK_INLINE int LookAt(int base, unsigned valid, Register totals, std::int32_t mark, BestBefore& best) const {
        const int most_skipped = scoring.most_skipped;
        alignas(32) std::int32_t total[kLanes];
        Ints::Store(total, totals);
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
    const int length;  // The length of each anchor in bases, or -1; see CommonLength.
    std::int32_t *reference_positions = nullptr, *read_positions = nullptr, *scores = nullptr, *previous = nullptr,
                 *marks = nullptr;

private:
    // Returns the same as minimap2's mg_log2. For numbers below 2, the result is meaningless.
    static TAVIK_INLINE FloatRegister Log2(Register number) {
        const Register bits = Floats::Bits(Ints::ToFloats(number));
        const Register exponent = Ints::Subtract(Ints::ShiftRight<23>(bits), Ints::All(128));
        const FloatRegister fraction =
            Floats::OfBits(Lanes::Or(Lanes::And(bits, Ints::All(0x7FFFFF)), Ints::All(127 << 23)));
        const FloatRegister inner = MultiplyAdd(Floats::All(-0.34484843F), fraction, Floats::All(2.02466578F));
        return Floats::Add(Ints::ToFloats(exponent), MultiplyAdd(inner, fraction, Floats::All(-0.67487759F)));
    }

    const ChainScoring& scoring;
    const FloatRegister gap_penalty, skip_penalty;
};

}  // namespace
}  // namespace qel_minimap2::kernel
