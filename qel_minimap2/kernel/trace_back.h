#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/equal_ends.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

/// On which side a gap is placed if several places have the same score.
enum class Trace { left, right };

// The direction byte of a cell. The lowest three bits show from which candidate its best score came. Each of the next
// four bits, if set, shows that extending a gap into the next cell is preferred to opening one. The numbers are
// minimap2's.
inline constexpr int kFromDiagonal = 0;
inline constexpr int kFromDeletion = 1;
inline constexpr int kFromInsertion = 2;
inline constexpr int kFromDeletion2 = 3;
inline constexpr int kFromInsertion2 = 4;
inline constexpr int kDeletionGoesOn = 8;
inline constexpr int kInsertionGoesOn = 16;
inline constexpr int kDeletion2GoesOn = 32;
inline constexpr int kInsertion2GoesOn = 64;

/// Returns whether the path comes from a deletion. `from` must not be kFromDiagonal.
inline bool IsDeletion(int from) {
    return from % 2 == 1;
}

/// The CIGAR of a path under construction, last operation first. It is in scratch memory, because the caller's CIGAR
/// and its capacity must stay unchanged if the path cannot be proven optimal.
class PathRuns {
public:
    explicit PathRuns(const AlignmentCall& call) : call(call) {}

    /// Makes room for any path and adds the equal bases after the sequences. Returns false if there is no memory.
    bool Reserve() {
        const auto bases = static_cast<std::size_t>(call.query_length) + static_cast<std::size_t>(call.target_length);
        // NOLINTNEXTLINE(bugprone-casting-through-void)
        runs =
            static_cast<std::uint32_t*>(static_cast<void*>(ScratchMemory(Scratch::runs, (bases + 4) * sizeof *runs)));
        if (runs == nullptr) {
            return false;
        }
        count = 0;
        Add(KSW_CIGAR_MATCH, call.equal_after);
        return true;
    }

    /// Returns how many consecutive pairs of bases on the diagonal are equal, counted from (i, j) back towards the
    /// start.
    TAVIK_INLINE int CountEqualBefore(int i, int j) const {
        return CountEqualBases<-1>(call.target + i + 1, call.query + j + 1, Smaller(i, j) + 1);
    }

    /// Adds the operation that, in the alignment, precedes those added so far. A length of 0 adds none.
    TAVIK_INLINE void Add(std::uint32_t operation, int length) {
        if (length == 0) {
            return;
        }
        const auto run = static_cast<std::uint32_t>(length) << 4;
        if (count > 0 && (runs[count - 1] & 15U) == operation) {
            runs[count - 1] += run;
        } else {
            runs[count++] = run | operation;
        }
    }

    /// Adds the rest of a path that has reached the matrix's border: a gap of i + 1 target bases or j + 1 query bases,
    /// and the equal bases that were cut off before the sequences. If any were cut off, gaps are placed left: from
    /// (i, j) back, pairs on the diagonal are matched as long as they are equal. The gap lies to the left of these
    /// matches.
    void AddBorder(int i, int j) {
        int matches = 0;
        if (i >= 0 || j >= 0) {
            while (matches < call.equal_before && call.target[i - matches] == call.query[j - matches]) {
                ++matches;
            }
        }
        Add(KSW_CIGAR_MATCH, matches);
        Add(KSW_CIGAR_DEL, i + 1);
        Add(KSW_CIGAR_INS, j + 1);
        Add(KSW_CIGAR_MATCH, call.equal_before - matches);
    }

    /// Follows the directions from cell (i, j) to the matrix's border. `direction(i, j)` returns a direction byte.
    template <typename Direction>
    void Walk(int i, int j, const Direction& direction) {
        int state = kFromDiagonal;
        std::uint32_t operation = KSW_CIGAR_MATCH;  // Of the current run, which is not added yet.
        int length = 0;
        while (i >= 0 && j >= 0) {
            const int byte = direction(i, j);
            if (state == kFromDiagonal || (byte >> (state + 2) & 1) == 0) {
                state = byte & 7;
            }
            const std::uint32_t next = state == kFromDiagonal ? KSW_CIGAR_MATCH
                                       : IsDeletion(state)    ? KSW_CIGAR_DEL
                                                              : KSW_CIGAR_INS;
            if (next != operation) {
                Add(operation, length);
                operation = next;
                length = 0;
            }
            ++length;
            i -= next != KSW_CIGAR_INS ? 1 : 0;
            j -= next != KSW_CIGAR_DEL ? 1 : 0;
        }
        Add(operation, length);
        AddBorder(i, j);
    }

    /// Returns the score of the path without that of the equal bases that were cut off. The path must lead from the
    /// first cell to the last.
    int Score(const Scoring& scoring) const {
        int score = -scoring.match * (call.equal_before + call.equal_after);
        int i = -call.equal_before;
        int j = -call.equal_before;
        for (int run = count - 1; run >= 0; --run) {
            const int length = static_cast<int>(runs[run] >> 4);
            const auto operation = runs[run] & 15U;
            if (operation == KSW_CIGAR_MATCH) {
                int matches = 0, with_any = 0;
                for (int k = 0; k < length; ++k) {
                    const auto target = call.target[i + k], query = call.query[j + k];
                    with_any += (target | query) > 3 ? 1 : 0;
                    matches += target == query && target <= 3 ? 1 : 0;
                }
                score +=
                    matches * scoring.match + with_any * scoring.any + (length - matches - with_any) * scoring.mismatch;
            } else {
                score -= GapCost(scoring, length);
            }
            i += operation == KSW_CIGAR_INS ? 0 : length;
            j += operation == KSW_CIGAR_DEL ? 0 : length;
        }
        return score;
    }

    /// Copies the path to the result's CIGAR, whose capacity grows in minimap2's steps.
    void Deliver(ksw_extz_t& result) const {
        if (result.m_cigar < count) {
            while (result.m_cigar < count) {
                result.m_cigar = result.m_cigar > 0 ? 2 * result.m_cigar : 4;
            }
            const auto room = static_cast<std::size_t>(result.m_cigar) * sizeof *result.cigar;
            result.cigar = static_cast<std::uint32_t*>(krealloc(call.pool, result.cigar, room));
        }
        for (int run = 0; run < count; ++run) {
            result.cigar[run] = runs[call.Has(KSW_EZ_REV_CIGAR) ? run : count - 1 - run];
        }
        result.n_cigar = count;
    }

private:
    const AlignmentCall& call;
    std::uint32_t* runs = nullptr;
    int count = 0;
};

}  // namespace
}  // namespace qel_minimap2::kernel
