#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Reports {

/// Which share of each reference sequence at least so many alignments cover. An alignment covers all from its start to
/// its end, deletions included.
///
/// Memory is bounded, 4 bytes for each position that is looked at: all positions of short sequences, and of longer ones
/// every n-th, evenly spread. The depth of these positions is exact, however long the genome is.
class Breadth {
public:
    static constexpr std::array<std::int64_t, 3> kDepths = {1, 10, 30};
    using Shares = std::array<double, kDepths.size()>;

    /// `lengths` in bases; a sequence of length 0 is left out. At most `most_positions`, and one of each sequence, are
    /// looked at: 64 MiB as it is.
    explicit Breadth(std::vector<std::int32_t> lengths, std::size_t most_positions = std::size_t{1} << 24U);

    /// Covers [start, end) of a sequence, counted from 0; 0 <= start <= end <= length.
    void Add(std::size_t sequence, std::int32_t start, std::int32_t end);

    /// From 0 to 1, for each of kDepths; 1 only if all positions are covered.
    Shares SharesOf(std::size_t sequence);

    /// All positions of sequences of this length and below are looked at.
    std::int32_t LongestExact() const { return most_of_one; }

    /// Every n-th position of this sequence is looked at.
    std::int32_t StepOf(std::size_t sequence) const;

private:
    struct Change {
        std::int32_t* start = nullptr;
        std::int32_t* end = nullptr;
    };

    void Settle(Change& change);
    std::size_t Index(std::size_t sequence, std::int32_t position) const;

    std::vector<std::int32_t> lengths;
    std::int32_t most_of_one = 0;                    // Positions that are looked at.
    std::vector<std::vector<std::int32_t>> changes;  // Of the depth, at each of them; empty where nothing is covered.
    // Added, but not yet counted: by the time it is, the processor has fetched the memory.
    std::array<Change, 64> waiting{};
    std::size_t next = 0;
};

}  // namespace Reports
