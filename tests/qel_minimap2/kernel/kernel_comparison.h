#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qel_minimap2/kernel/avx2_kernel.h"
#include "qel_minimap2/kernel/chain_comparison.h"

namespace Tests {

/// Makes calls of the base aligner, the same ones for a seed: related and unrelated sequences, repeats, long gaps,
/// letters that stand for any base, all sets of flags, scorings with the pieces of the gap cost in either order, bands
/// and drops.
class RandomCalls : Dice {
public:
    /// `longest`: of a target, in bases; queries may be a few hundred bases longer.
    RandomCalls(std::uint32_t seed, int longest) : Dice(seed), longest(longest) {}

    /// Calls made to leave the strip that the certified band fills, from now on: gap filling with an insertion and a
    /// deletion of 8 to 150 bases, 1 to 90 apart, few errors otherwise, in plain and in periodic sequences, of lengths
    /// from where each width is tried.
    void AttackTheBand() { attacks = true; }

    /// Calls as for the ends of reads, from now on: short queries, and more of the target than can matter.
    void AttackTheEnds() { ends = true; }

    /// The next call. It refers to this object, until the next one is made. No pool: memory comes from malloc.
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

/// What a comparison has seen, to tell that it has seen enough.
struct ComparisonFigures {
    long calls = 0;
    long dropped = 0;
    long reached_end = 0;
    long with_cigar = 0;
};

/// Has `count` calls answered by the kernels and by the library, each with a result that is used again from call to
/// call, as minimap2 does, or with a new one. Returns a description of the first difference, in a field that somebody
/// reads or the CIGAR or the room made for it; empty without one.
std::string CompareWithLibrary(RandomCalls& calls, long count, ComparisonFigures& figures);

}  // namespace Tests
