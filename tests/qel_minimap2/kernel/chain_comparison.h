#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/kernel/kernels.h"

namespace Tests {

/// Generates random numbers. The seed determines them.
class Dice {
public:
    explicit Dice(std::uint32_t seed) : generator(seed) {}

    /// From `first` to `last`, both included.
    int Between(int first, int last) {
        return first + static_cast<int>(generator() % static_cast<std::uint32_t>(last - first + 1));
    }
    bool OneIn(int n) { return Between(1, n) == 1; }

private:
    std::mt19937 generator;
};

/// Generates lists of anchors like those of reads from repeats. Next returns random mixtures of:
/// - runs of colinear anchors with errors, on several sequences and strands, and parallel runs, often
///   with equal penalties;
/// - repeats of the read against repeats of the reference, so that one reference position has several read positions;
/// - noise.
/// In about one list in four, the distances in runs are mostly multiples of 5, which often give equal scores.
class RandomAnchors : public Dice {
public:
    using Dice::Dice;

    /// Returns anchors of one length, sorted by their read positions. Their number is random: 1 to `most`, plus at most
    /// 899.
    std::vector<mm128_t> Next(int most);

    /// Returns the anchors of a read that spans two copies of a repeat. The reference has `copies` copies of the repeat
    /// in a row, at slightly different distances. Each copy in the read has `per_copy` anchors with each copy in the
    /// reference. About one anchor in `one_in` is missing.
    std::vector<mm128_t> Array(int copies, int per_copy, int one_in);

    /// Makes CompareChaining and CompareJoining call Array instead of Next. Most lists then have thousands of anchors.
    void MakeArrays() { makes_arrays = true; }
    bool MakesArrays() const { return makes_arrays; }

private:
    void Add(std::uint64_t sequence, int reference, int read);
    void AddPiece();
    void AddRepeats();

    bool makes_arrays = false;
    std::vector<mm128_t> anchors;
    int sequences = 1, reference_length = 1, read_length = 1, anchor_length = 15, step = 1;
};

/// Joins the anchors with the parameters of the preset map-ont and drops the result. Returns false if the kernel leaves
/// the call to minimap2.
bool JoinByDefault(const qel_minimap2::kernel::Kernels& kernels, const std::vector<mm128_t>& sorted);

/// Counts that show whether a comparison covered enough.
struct ChainFigures {
    long calls = 0;
    long chains = 0;
    long left_to_minimap2 = 0;
};

/// These functions sort, chain or join `count` lists with our function and with minimap2's. They return a description
/// of the first difference; empty if there is none.
std::string CompareSorting(RandomAnchors& random, long count);
std::string CompareChaining(const qel_minimap2::kernel::Kernels& kernels, RandomAnchors& random, long count,
                            ChainFigures& figures);
std::string CompareJoining(const qel_minimap2::kernel::Kernels& kernels, RandomAnchors& random, long count,
                           ChainFigures& figures);

/// Chains and joins runs of anchors with gaps on the reference between the runs. Together, the gaps have all lengths
/// from 1 to 19 000 bases, because a difference in the rounding of penalties may show at only a few lengths. Returns a
/// description of the first difference; empty if there is none.
std::string CompareDistantChains(const qel_minimap2::kernel::Kernels& kernels, float gap_penalty, float skip_penalty,
                                 ChainFigures& figures);

}  // namespace Tests
