#pragma once

#include <cstdint>
#include <cstring>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"

namespace qel_minimap2::kernel {
namespace {

// Before the gap between two anchors is filled, equal bases at both ends of its sequences are cut off. There are
// usually some, because minimap2 starts and ends the gap in the middle of a minimizer.
//
// Proof that the result is minimap2's. Gaps are placed left. One gap costs less than two gaps with the same total
// number of bases, because opening a gap costs something. A longer gap costs no less than a shorter one, and no other
// pair of letters scores as much as two equal bases.
//   (1) In a cell with equal bases, a path that ends with a gap scores no more than the same path with these bases
//       matched and the gap before them. If that gap directly follows a gap in the other sequence, both gaps become
//       one base shorter instead. So the diagonal candidate is a best one, and it wins ties. At the end of the
//       sequences, the traceback therefore matches equal bases.
//   (2) If the first n bases are equal, a best path into any cell with i >= n and j >= n can match them, even if the
//       path must end with a gap at the cost of a given gap piece. So these cells have the same differences and
//       directions as the cells of the sequences without the n bases.
//   (3) In a cell with i < n or j < n, the best path matches all bases of the sequence with the lower position, and
//       the other bases are one gap of |i - j| bases. The traceback therefore matches bases as long as they are equal.
//       Then the whole gap follows, because a second gap would cost more. A gap that leads from such a cell to one with
//       i >= n and j >= n has bases of the sequence with the lower position. This gap starts at the former cell, not
//       before it: a path to that cell that ends with such a gap scores less than the best path minus the cost of
//       opening a gap. PathRuns::AddBorder adds the part of the path in cells with i < n or j < n.

/// Returns how many pairs of equal bases come before the first other pair of letters, at most `limit`. With kStep 1,
/// compares the letters from `a` and `b` on; with kStep -1, those before `a` and `b`, in reverse.
template <int kStep>
int CountEqualBases(const std::uint8_t* a, const std::uint8_t* b, int limit) {
    constexpr int kWord = sizeof(std::uint64_t);
    constexpr int kFirst = kStep > 0 ? 0 : -1;
    int count = 0;
    for (; count + kWord <= limit; count += kWord) {
        const int offset = kStep > 0 ? count : -count - kWord;
        std::uint64_t of_a = 0, of_b = 0;
        std::memcpy(&of_a, a + offset, kWord);
        std::memcpy(&of_b, b + offset, kWord);
        if (const auto unequal = (of_a ^ of_b) | (of_a & 0xFCFCFCFCFCFCFCFC); unequal != 0) {
            return count + (kStep > 0 ? __builtin_ctzll(unequal) : __builtin_clzll(unequal)) / 8;
        }
    }
    while (count < limit && a[kFirst + kStep * count] == b[kFirst + kStep * count] && a[kFirst + kStep * count] <= 3) {
        ++count;
    }
    return count;
}

/// Returns the call without the equal bases at both ends. One or both of its sequences may then be empty.
inline AlignmentCall WithoutEqualEnds(AlignmentCall call) {
    const int after = CountEqualBases<-1>(call.target + call.target_length, call.query + call.query_length,
                                          Smaller(call.target_length, call.query_length));
    call.target_length -= after;
    call.query_length -= after;
    const int before = CountEqualBases<1>(call.target, call.query, Smaller(call.target_length, call.query_length));
    call.target += before;
    call.target_length -= before;
    call.query += before;
    call.query_length -= before;
    call.equal_before = before;
    call.equal_after = after;
    return call;
}

}  // namespace
}  // namespace qel_minimap2::kernel
