#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qel_minimap2/index/from_mmi/index_layout.h"

namespace qel_minimap2 {

/// Checks that a prebuilt index was built from the sequences stored in it. A wrong window, k-mer size, homopolymer
/// flag, length or base does not show in the structure of an index, but makes reads map badly. The check recomputes
/// the minimizers in chosen sections of 2048 bases and compares them with those of the index. One section in a hundred
/// is chosen, but at least 128 sections, or all if there are fewer. Damage in other sections may go unnoticed.
class MinimizerSample {
public:
    /// `bases`: a copy of the layout's packed bases. The copy and the layout must outlive the sample. `suspects`:
    /// offsets of bases whose sections are chosen too. The number of suspects used is limited to the number of sections
    /// chosen without them.
    MinimizerSample(const IndexLayout& layout, const std::uint32_t* bases, const std::vector<std::uint64_t>& suspects);

    /// Records one minimizer of the index. `position` is in minimap2's format: number of the sequence, 0-based position
    /// of the last base, strand. It must lie in its sequence. `worker`: see ForEach.
    void Add(std::uint64_t minimizer, std::uint64_t position, unsigned worker) {
        const auto offset = layout.Sequences()[position >> 32U].offset + ((position & 0xFFFFFFFFU) >> 1U);
        if (chosen[offset / kSectionBases]) {
            found[worker].push_back({position, minimizer});
        }
    }

    /// Call once, after all minimizers are recorded. Throws std::runtime_error if they do not match the sequences.
    void Check();

private:
    struct Found {
        std::uint64_t position, minimizer;
        auto operator<=>(const Found&) const = default;
    };
    // A part of a sequence, 0-based and half-open.
    struct Piece {
        std::uint32_t sequence, begin, end;
    };

    static constexpr std::uint64_t kSectionBases = 2048;
    static constexpr std::uint64_t kLeastSections = 128;
    static constexpr std::uint64_t kSectionsPerChosen = 100;
    // In bases. Limits the memory of a thread.
    static constexpr std::uint64_t kLongestPiece = 16384;

    void ChooseSections(const std::vector<std::uint64_t>& suspects);
    void MakePieces();
    bool IsInsideRun(const Found& minimizer) const;
    Piece CertainPart(const Piece& piece, const std::string& bases, std::uint32_t begin) const;
    void CheckPiece(const Piece& piece) const;

    const IndexLayout& layout;
    const std::uint32_t* bases;
    std::vector<bool> chosen;               // For each section of the bases: whether it is in a piece.
    std::vector<Piece> pieces;              // In the order of their bases.
    std::vector<std::vector<Found>> found;  // Minimizers of the index in the pieces, by worker.
};

}  // namespace qel_minimap2
