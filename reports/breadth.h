#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Reports {

/// The share of each reference sequence that is covered by at least a given number of alignments (see kDepths). An
/// alignment covers every position from its start to its end, deletions included.
///
/// Memory is bounded: about 4 bytes for each sampled position and 200 for each sequence. In short sequences, every
/// position is sampled; in longer sequences, every n-th. The depth of a sampled position is exact.
class Breadth {
public:
    static constexpr std::array<std::int64_t, 3> kDepths = {1, 10, 30};
    using Shares = std::array<double, kDepths.size()>;

    /// `lengths` in bases; a sequence of length 0 has no positions. Samples at least one position of each longer
    /// sequence and, in all, at most `most_positions` plus one for each sequence. By default, the counts of the sampled
    /// positions take at most about 64 MiB.
    explicit Breadth(std::vector<std::int32_t> lengths, std::size_t most_positions = std::size_t{1} << 24U);

    /// Adds an alignment that covers [start, end) of a sequence, 0-based; 0 <= start <= end <= length.
    void Add(std::size_t sequence, std::int32_t start, std::int32_t end);

    /// For each of kDepths, the share of the sampled positions with at least this depth, from 0 to 1. A repeated
    /// call recounts only positions in or near the alignments added since the previous call.
    Shares SharesOf(std::size_t sequence);

    /// Every position of a sequence of at most this length is sampled.
    std::int32_t LongestExact() const { return most_of_one; }

    /// The distance between neighbouring sampled positions of this sequence, whose length must not be 0.
    std::int32_t StepOf(std::size_t sequence) const;

private:
    struct Change {
        std::int32_t* start = nullptr;
        std::int32_t* end = nullptr;
    };
    // The counts for a run of sampled positions, valid until another alignment covers one of these positions.
    struct Stretch {
        std::int64_t before = 0;  // The depth of the sampled position before the stretch; 0 for the first stretch.
        std::int64_t last = 0;    // The depth of the last position in the stretch.
        std::array<std::uint32_t, kDepths.size()> covered{};  // For each of kDepths: how many positions reach it.
    };
    struct Sequence {
        std::vector<std::int32_t> changes;  // Changes in depth at sampled positions; empty without alignments.
        std::vector<Stretch> stretches;
        std::vector<char> stale;  // For each stretch: 1 if its counts lack an alignment that starts in it.
    };

    void Settle(Change& change);
    static void Count(const Sequence& sequence, std::size_t first, Stretch& stretch);
    std::size_t Index(std::size_t sequence, std::int32_t position) const;

    std::vector<std::int32_t> lengths;
    std::int32_t most_of_one = 0;  // No sequence has more sampled positions than this.
    std::vector<Sequence> sequences;
    // Alignments that are added but not counted yet, so that the prefetches have time to complete.
    std::array<Change, 64> waiting{};
    std::size_t next = 0;
};

}  // namespace Reports
