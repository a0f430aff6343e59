#pragma once

#include <cstdint>
#include <vector>

#include "qel_minimap2/index/from_mmi/index_layout.h"

namespace qel_minimap2 {

/// Finds out whether a prebuilt index is about the sequences it holds. A wrong window, k-mer size, homopolymer flag,
/// length or base makes an index that loads and maps, but badly, and no look at its structure shows that. So pieces of
/// the sequences are chosen, about a hundredth of all bases and both ends among them; their minimizers are computed
/// anew, and those of the index that lie in the pieces must be just these. What is damaged between the pieces stays
/// unseen: the format has no checksum.
class MinimizerSample {
public:
    /// `bases`: all of the layout's, copied, which must outlive the sample. `suspects`: offsets of bases that pieces
    /// are to be laid around besides, as far as they are not too many.
    MinimizerSample(const IndexLayout& layout, const std::uint32_t* bases, const std::vector<std::uint64_t>& suspects);

    /// Tells of one of the index's minimizers. `position` as minimap2 has it: number of the sequence, 0-based position
    /// of the last base and strand; it must lie in its sequence. `worker`: see ForEach.
    void Add(std::uint64_t minimizer, std::uint64_t position, unsigned worker) {
        const auto offset = offsets[position >> 32U] + ((position & 0xFFFFFFFFU) >> 1U);
        if (chosen[offset / kBlockBases]) {
            Keep({position, minimizer}, worker);
        }
    }

    /// To be called once, after all minimizers were told of. Throws std::runtime_error when they are not those of the
    /// pieces.
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

    static constexpr std::uint64_t kBlockBases = 2048;
    static constexpr std::uint64_t kLeastBlocks = 128;
    static constexpr std::uint64_t kBasesPerChosen = 100;
    static constexpr std::size_t kItems = 64;

    std::uint8_t Base(std::uint64_t offset) const { return bases[offset / 8] >> (offset % 8 * 4) & 0xf; }
    void ChooseBlocks(const std::vector<std::uint64_t>& suspects);
    void MakePieces();
    void Keep(const Found& found, unsigned worker);
    bool IsInsideRun(const Found& minimizer) const;
    void CheckItem(std::size_t item);
    std::vector<Found> Computed(const Piece& piece, Piece& certain) const;

    const IndexLayout& layout;
    const std::uint32_t* bases;
    std::vector<std::uint64_t> offsets;  // Of the sequences.
    std::vector<bool> chosen;            // Which blocks of bases are in pieces.
    std::vector<Piece> pieces;           // In their order.
    // What lies in the pieces: the workers' lists for each item, which is a stretch of pieces.
    std::vector<std::vector<std::vector<Found>>> found;
};

}  // namespace qel_minimap2
