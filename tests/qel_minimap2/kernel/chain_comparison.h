#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/kernel/kernels.h"

namespace Tests {

/// Random numbers, the same ones for the same seed.
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

/// Makes lists of anchors like those of reads from repeats, the same ones for the same seed: runs of colinear anchors
/// with errors on several sequences and strands, parallel runs, repeats of the read against repeats of the reference
/// (so that one reference position has several read positions), and noise; at times with equal distances, which give
/// equal scores.
class RandomAnchors : public Dice {
public:
    using Dice::Dice;

    /// Up to `most` anchors of one length, unsorted.
    std::vector<mm128_t> Next(int most);

    /// The anchors of a read of two copies from an array of `copies` near-identical copies: `per_copy` for each pair of
    /// copies, of which one in `one_in` is missing.
    std::vector<mm128_t> Array(int copies, int per_copy, int one_in);

    /// From now on, comparisons use arrays of thousands of anchors instead of lists of all kinds.
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

/// Joins the anchors with the preset's parameters. Returns false when the kernel leaves the call to minimap2.
bool JoinByDefault(const qel_minimap2::kernel::Kernels& kernels, const std::vector<mm128_t>& sorted);

/// Counts that show whether a comparison covered enough.
struct ChainFigures {
    long calls = 0;
    long chains = 0;
    long left_to_minimap2 = 0;
};

/// Each sorts, chains or joins `count` lists with our function and with minimap2's, and returns a description of the
/// first difference, or an empty text.
std::string CompareSorting(RandomAnchors& random, long count);
std::string CompareChaining(const qel_minimap2::kernel::Kernels& kernels, RandomAnchors& random, long count,
                            ChainFigures& figures);
std::string CompareJoining(const qel_minimap2::kernel::Kernels& kernels, RandomAnchors& random, long count,
                           ChainFigures& figures);

/// The same for chains that lie apart on the reference by each distance from 1 to 19 000 bases. How penalties are
/// rounded shows there first.
std::string CompareDistantChains(const qel_minimap2::kernel::Kernels& kernels, float gap_penalty, float skip_penalty,
                                 ChainFigures& figures);

}  // namespace Tests
