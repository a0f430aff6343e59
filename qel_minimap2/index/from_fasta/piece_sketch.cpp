#include "qel_minimap2/index/from_fasta/piece_sketch.h"

#include <algorithm>
#include <numeric>

namespace qel_minimap2 {

// minimap2 sketches a sequence from its first base to its last. What it does at a base depends only on that base and on
// the w + k bases before it: on the k-mers of the window that ends there, and on whether one of these bases is
// ambiguous. (The window's minimum is always the last of its lowest k-mers, whatever the minimum was before.) A sketch
// that starts w + k bases before a piece is therefore correct from the piece's first base on. A k-mer that leaves the
// window without having been chosen is never chosen, so the sketch ends w bases after the piece. This requires an
// odd k. With an even k, a k-mer that equals its reverse complement takes no place in the window, so a run of such
// k-mers lets the window reach back arbitrarily far. With an odd k, no k-mer equals its reverse complement.
void PieceSketcher::SketchSequence(const ReferenceSequence& sequence, std::uint64_t begin, std::uint64_t end) {
    const std::uint64_t before = header.window + header.k, after = header.window;
    const auto sequence_end = sequence.offset + sequence.length;
    const auto from = begin - std::min(begin - sequence.offset, before);
    const auto to = end + std::min(sequence_end - end, after);
    unpacked.resize(to - from);
    UnpackBases(reference.bases.Words(), from, to, unpacked.data());
    minimizers.Sketch(unpacked, header, 0);
    for (const auto& minimizer : minimizers) {
        const auto offset = from + (minimizer.y >> 1U);
        if (offset >= begin && offset < end) {
            of_piece.push_back({minimizer.x >> 8U, offset << 1U | (minimizer.y & 1U)});
        }
    }
}

SketchedPiece PieceSketcher::Sketch(std::uint64_t begin, std::uint64_t end) {
    constexpr std::uint64_t kMostSketched = 1 << 18;  // In bases. Limits the memory of a sketch.
    of_piece.clear();
    const auto& sequences = reference.sequences;
    auto sequence = std::upper_bound(sequences.begin(), sequences.end(), begin,
                                     [](std::uint64_t offset, const auto& s) { return offset < s.offset + s.length; });
    for (; sequence != sequences.end() && sequence->offset < end; ++sequence) {
        const auto from = std::max(begin, sequence->offset);
        const auto to = std::min(end, sequence->offset + sequence->length);
        for (auto step = from; step < to; step += kMostSketched) {
            SketchSequence(*sequence, step, std::min(to, step + kMostSketched));
        }
    }
    std::vector<std::uint32_t> next(format.BlockCount() + 1);
    for (const auto& minimizer : of_piece) {
        ++next[format.BlockOf(minimizer.x) + 1];
    }
    std::partial_sum(next.begin(), next.end(), next.begin());
    SketchedPiece piece{Pages(of_piece.size() * sizeof(std::uint64_t)), next};
    auto* const entries = reinterpret_cast<std::uint64_t*>(piece.entries.Data());
    for (const auto& minimizer : of_piece) {
        entries[next[format.BlockOf(minimizer.x)]++] = format.Entry(minimizer.x, minimizer.y >> 1U, minimizer.y & 1U);
    }
    return piece;
}

}  // namespace qel_minimap2
