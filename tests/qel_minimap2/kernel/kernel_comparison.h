#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "qel_minimap2/kernel/chain_comparison.h"
#include "qel_minimap2/kernel/kernels.h"

namespace Tests {

/// Generates calls of the function for base alignment. The seed determines the calls. They cover related and unrelated
/// sequences, repeats, long gaps, ambiguous bases, all combinations of flags that occur, and many scorings, bands and
/// drops.
class RandomCalls : Dice {
public:
    /// `longest`: the longest target of ordinary calls, in bases. Queries may be longer.
    RandomCalls(std::uint32_t seed, int longest) : Dice(seed), longest(longest) {}

    /// From now on, generates calls whose best path may leave the strip of the certified band. The sequences are random
    /// or periodic. They differ by an insertion and a deletion, which are close together, and by few other errors.
    /// Their lengths make the kernel try each width of the strip.
    void AttackTheBand() { attacks = true; }

    /// From now on, generates calls like those for the ends of reads: short queries, and targets so long that their
    /// ends cannot be aligned.
    void AttackTheEnds() { ends = true; }

    /// Returns the next call. It points into this object and is valid until Next is called again. It has no memory
    /// pool, so memory comes from malloc.
    qel_minimap2::kernel::AlignmentCall Next();

private:
    void MakeTarget();
    void MakeQuery();
    void MakeRelatedQuery();
    void MakeTwoGaps();

    int longest;
    int alphabet = 4;
    bool attacks = false, ends = false;
    std::vector<std::uint8_t> target, query;
    std::vector<std::int8_t> matrix;
};

/// Counts that show whether a comparison covered enough.
struct ComparisonFigures {
    long calls = 0;
    long left_to_minimap2 = 0;
    long dropped = 0;
    long reached_end = 0;
    long with_cigar = 0;
};

/// Calls our function and minimap2's `count` times, each time with the call that `next` returns. Four successive calls
/// share a result object, because minimap2 also reuses such objects. Compares the CIGAR, its allocated length and the
/// other fields that minimap2 reads. Returns a description of the first difference; empty if there is none.
std::string CompareWithMinimap2(const qel_minimap2::kernel::Kernels& kernels,
                                const std::function<qel_minimap2::kernel::AlignmentCall()>& next, long count,
                                ComparisonFigures& figures);

}  // namespace Tests
