#pragma once

#include <cstdint>
#include <vector>

#include "qel_minimap2/index/from_fasta/piece_sketch.h"
#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/index_sink.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// Finds out which sequence contains a base, from the base's offset among the bases of all sequences. Any thread.
class SequencePlaces {
public:
    explicit SequencePlaces(const std::vector<ReferenceSequence>& sequences);

    /// Number of a sequence and a 0-based position in it.
    struct Place {
        std::uint64_t sequence, position;
    };
    Place Of(std::uint64_t offset) const {
        auto i = first_of[offset >> kShift];
        while (starts[i + 1].offset <= offset) {
            ++i;
        }
        return {starts[i].sequence, offset - starts[i].offset};
    }

private:
    static constexpr unsigned kShift = 14;

    struct Start {
        std::uint64_t offset, sequence;
    };
    std::vector<Start> starts;            // One for each sequence that has bases; then the end of the bases.
    std::vector<std::uint32_t> first_of;  // For each multiple of 2^kShift, the index in `starts` of the sequence there.
};

/// Fills blocks of a table with minimizers. Not thread-safe: each thread uses its own object.
class BlockFiller {
public:
    /// `sink` takes the filled blocks; if it is null, the blocks stay in the table.
    BlockFiller(SeedTable& table, const EntryFormat& format, const SequencePlaces& places,
                const std::vector<SketchedPiece>& pieces, IndexSink* sink)
        : table(table), format(format), places(places), pieces(pieces), sink(sink) {}

    /// Throws std::bad_alloc and what the sink throws.
    void Fill(std::size_t block);

private:
    void Gather(std::size_t block);
    void Sort();
    void MakeRoom(std::size_t block) const;
    void Insert(std::size_t block) const;
    std::size_t EndOfEqual(std::size_t begin) const;
    std::uint64_t PositionOf(std::uint64_t entry) const;

    SeedTable& table;
    const EntryFormat& format;
    const SequencePlaces& places;
    const std::vector<SketchedPiece>& pieces;
    IndexSink* const sink;
    std::vector<std::uint64_t> entries, other;
};

}  // namespace qel_minimap2
