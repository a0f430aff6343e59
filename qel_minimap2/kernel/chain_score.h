#pragma once

#include <cstdint>

#include <mmpriv.h>

#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/intrinsics.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/numbers.h"

namespace qel_minimap2::kernel {
namespace {

/// Returns the anchors' common length, or -1 if they differ in length or segment, are not sorted by x, or are too many.
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
    int skipped = 0;            // Rises with each skipped candidate, and falls with each better one, but not below 0.
    int below = 0;              // The start of the register below the one looked at most recently.
    unsigned marked_below = 0;  // The lanes from `below` on that are predecessors of candidates in the register above.
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
    /// other search uses. Returns whether the search ends early. A search tries registers in descending order, and may
    /// end with a single candidate. After that, only `score` and `previous` of `best` are used.
    ///
    /// A candidate's predecessor has a lower index, so the predecessor is tried later. All marks of a register are
    /// therefore known before its first candidate is tried, and all skipped candidates between two better ones can be
    /// counted at once.
    TAVIK_INLINE bool LookAt(int base, unsigned valid, Register totals, std::int32_t mark, BestBefore& best) const {
        const Register before = Ints::Load(previous + base);
        const unsigned near_marks = NearMarks(base, valid, before);
        const Register far_marks = Ints::Equal(Ints::Load(marks + base), Ints::All(mark));
        const unsigned marked =
            valid & (near_marks >> kLanes | Ints::MaskOf(far_marks) | (best.below == base ? best.marked_below : 0));
        best.below = base - kLanes;
        best.marked_below = near_marks;
        unsigned rest = valid;
        while (true) {
            const unsigned better = rest & Ints::MaskOf(Ints::Greater(totals, Ints::All(best.score)));
            const int lane = better != 0 ? 31 - __builtin_clz(better) : -1;
            const unsigned above = ~0U << static_cast<unsigned>(lane + 1);
            const unsigned skipped = rest & marked & above;
            best.skipped += __builtin_popcount(skipped);
            if (skipped != 0 && best.skipped > scoring.most_skipped) {
                return true;
            }
            if (lane < 0) {
                break;
            }
            alignas(32) std::int32_t total[kLanes];
            Ints::Store(total, totals);
            best.score = total[lane];
            best.previous = base + lane;
            best.skipped -= best.skipped > 0 ? 1 : 0;
            rest &= ~(above | 1U << static_cast<unsigned>(lane));
        }
        const Register is_far = Ints::Greater(Ints::All(base - kLanes), before);
        for (auto far = valid & Ints::MaskOf(is_far) & ~Ints::MaskOf(before); far != 0; far &= far - 1) {
            marks[previous[base + __builtin_ctz(far)]] = mark;
        }
        return false;
    }

    const mm128_t* const anchors;
    const int count;
    const int length;  // The length of each anchor in bases, or -1; see CommonLength.
    std::int32_t *reference_positions = nullptr, *read_positions = nullptr, *scores = nullptr, *previous = nullptr,
                 *marks = nullptr;

private:
    // Returns one bit for each lane of the register from `base` on and of the one below: whether it is the predecessor
    // of a valid lane. Bit 0 is the lowest lane of the register below.
    static TAVIK_INLINE unsigned NearMarks(int base, unsigned valid, Register before) {
        alignas(32) static constexpr std::int32_t kLaneBits[] = {1, 2, 4, 8, 16, 32, 64, 128};
        const Register lane_bits = Ints::Load(kLaneBits);
        const Register is_valid = Ints::Equal(Lanes::And(Ints::All(static_cast<int>(valid)), lane_bits), lane_bits);
        const Register distance = Ints::Subtract(before, Ints::All(base - kLanes));
        return Ints::Any(Lanes::And(is_valid, Ints::OneShiftedLeft(distance)));
    }

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
