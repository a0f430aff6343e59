#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <minimap.h>

namespace Tests {

/// The same throws for a seed.
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

/// Makes lists of anchors as reads in repeats have them, the same ones for a seed: pieces of colinear anchors with
/// errors on several sequences and strands, pieces one above the other, a read's repeats on a reference's repeats (so
/// that the same place in the reference has several in the read), noise; sometimes equal distances, which make equal
/// scores.
class RandomAnchors : public Dice {
public:
    using Dice::Dice;

    /// Up to `most` anchors, not sorted, of one length.
    std::vector<mm128_t> Next(int most);

    /// Those of a read of two copies in an array of `copies` near-identical ones, `per_copy` of each, of which one in
    /// `one_in` is missing.
    std::vector<mm128_t> Array(int copies, int per_copy, int one_in);

    /// Has comparisons take arrays of thousands of anchors in place of lists of all kinds.
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

/// Joins the anchors as reads are joined by default. False when it was left to the library.
bool JoinByDefault(const std::vector<mm128_t>& sorted);

/// What a comparison has seen, to tell that it has seen enough.
struct ChainFigures {
    long calls = 0;
    long chains = 0;
    long left_to_library = 0;
};

/// Has `count` lists sorted, chained or joined by the kernels and by the library. Each returns a description of the
/// first difference, empty without one.
std::string CompareSorting(RandomAnchors& random, long count);
std::string CompareChaining(RandomAnchors& random, long count, ChainFigures& figures);
std::string CompareJoining(RandomAnchors& random, long count, ChainFigures& figures);

}  // namespace Tests
