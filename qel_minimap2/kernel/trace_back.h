#pragma once

#include <cstddef>
#include <cstdint>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

/// Whether directions are stored, and on which side a gap is placed if several places have the same score.
enum class Trace { none, left, right };

// The direction byte of a cell. The lowest three bits show from which candidate its best score came. Each of the next
// four bits, if set, shows that extending a gap into the next cell is preferred to opening one. The numbers are
// minimap2's; odd candidates are deletions.
inline constexpr int kFromDiagonal = 0;
inline constexpr int kFromDeletion = 1;
inline constexpr int kFromInsertion = 2;
inline constexpr int kFromDeletion2 = 3;
inline constexpr int kFromInsertion2 = 4;
inline constexpr int kDeletionGoesOn = 8;
inline constexpr int kInsertionGoesOn = 16;
inline constexpr int kDeletion2GoesOn = 32;
inline constexpr int kInsertion2GoesOn = 64;

// Ends PathRuns::Walk if it is returned instead of a direction byte.
inline constexpr int kGiveUp = -1;

/// The CIGAR of a path under construction, last operation first. It is in scratch memory, because a path that is not
/// proven must leave the caller's CIGAR and its capacity unchanged.
class PathRuns {
public:
    /// Makes room for any path through the matrix. Returns false if there is no memory.
    bool Reserve(const AlignmentCall& call) {
        const auto bases = static_cast<std::size_t>(call.query_length) + static_cast<std::size_t>(call.target_length);
        // NOLINTNEXTLINE(bugprone-casting-through-void)
        runs =
            static_cast<std::uint32_t*>(static_cast<void*>(ScratchMemory(Scratch::runs, (bases + 2) * sizeof *runs)));
        count = 0;
        return runs != nullptr;
    }

    /// Follows the directions from cell (i, j) to the matrix's border. `direction(i, j)` returns a direction byte or
    /// kGiveUp. Returns false after kGiveUp.
    template <typename Direction>
    bool Walk(int i, int j, const Direction& direction) {
        int state = kFromDiagonal;
        std::uint32_t operation = KSW_CIGAR_MATCH;  // Of the current run, which is not added yet.
        int length = 0;
        while (i >= 0 && j >= 0) {
            const int byte = direction(i, j);
            if (byte == kGiveUp) {
                return false;
            }
            if (state == kFromDiagonal || (byte >> (state + 2) & 1) == 0) {
                state = byte & 7;
            }
            const std::uint32_t next = state == kFromDiagonal ? KSW_CIGAR_MATCH
                                       : state % 2 == 1       ? KSW_CIGAR_DEL
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
        Add(KSW_CIGAR_DEL, i + 1);
        Add(KSW_CIGAR_INS, j + 1);
        return true;
    }

    /// Returns the score of the path, which must lead from the first cell to the last. Only with kMayHaveAny may the
    /// sequences have the letter that means any base.
    template <bool kMayHaveAny>
    int Score(const AlignmentCall& call, const Scoring& scoring) const {
        int score = 0;
        int i = 0;
        int j = 0;
        for (int run = count - 1; run >= 0; --run) {
            const int length = static_cast<int>(runs[run] >> 4);
            const auto operation = runs[run] & 15U;
            if (operation == KSW_CIGAR_MATCH) {
                int matches = 0, with_any = 0;
                for (int k = 0; k < length; ++k) {
                    const auto target = call.target[i + k], query = call.query[j + k];
                    with_any += kMayHaveAny && (target | query) > 3 ? 1 : 0;
                    matches += target == query && (!kMayHaveAny || target <= 3) ? 1 : 0;
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
    void Deliver(const AlignmentCall& call, ksw_extz_t& result) const {
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
    // Two runs in a row never have the same operation: Walk ends a run only where the operation changes. At the border,
    // only query bases remain after a deletion, and only target bases after an insertion.
    void Add(std::uint32_t operation, int length) {
        if (length > 0) {
            runs[count++] = static_cast<std::uint32_t>(length) << 4 | operation;
        }
    }

    std::uint32_t* runs = nullptr;
    int count = 0;
};

}  // namespace
}  // namespace qel_minimap2::kernel
