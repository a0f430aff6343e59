#include "qel_minimap2/index/from_mmi/minimizer_sample.h"

#include <algorithm>
#include <string>

#include "qel_minimap2/index/minimizer_list.h"
#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/parallel.h"

namespace qel_minimap2 {

namespace {

constexpr const char* kDifferent = "its minimizers do not match its sequences";

// minimap2 stores the k-mers of the current window in a ring. Each base adds an entry. With homopolymer compression,
// each run of equal bases adds one. A k-mer that equals its reverse complement adds none. Returns, for each entry, the
// 0-based position of its last base in `bases`. Leaves out entries whose k-mers may begin before `bases`.
std::vector<std::uint32_t> EndsOfRingEntries(const std::string& bases, const IndexHeader& header) {
    const std::uint64_t mask = (std::uint64_t{1} << 2 * header.k) - 1;
    std::uint64_t forward = 0, reverse = 0;
    std::uint64_t known = 0;
    std::vector<std::uint32_t> ends;
    for (std::size_t i = 0; i < bases.size(); ++i) {
        const auto base = static_cast<unsigned char>(bases[i]);
        if (base < 4) {
            while ((header.flags & MM_I_HPC) != 0 && i + 1 < bases.size() && bases[i + 1] == bases[i]) {
                ++i;
            }
            forward = (forward << 2U | base) & mask;
            reverse = reverse >> 2U | std::uint64_t{3U ^ base} << 2 * (header.k - 1);
            ++known;
            if (forward == reverse) {
                continue;
            }
        }
        if (known > header.k) {
            ends.push_back(static_cast<std::uint32_t>(i));
        }
    }
    return ends;
}

}  // namespace

MinimizerSample::MinimizerSample(const IndexLayout& layout, const std::uint32_t* bases,
                                 const std::vector<std::uint64_t>& suspects)
    : layout(layout), bases(bases), found(WorkerLimit()) {
    ChooseSections(suspects);
    MakePieces();
}

void MinimizerSample::ChooseSections(const std::vector<std::uint64_t>& suspects) {
    const auto sections = (layout.BaseCount() + kSectionBases - 1) / kSectionBases;
    const auto wanted = std::min(std::max(sections / kSectionsPerChosen, kLeastSections), sections);
    chosen.assign(sections, false);
    for (std::uint64_t i = 0; i < wanted; ++i) {
        chosen[wanted > 1 ? i * (sections - 1) / (wanted - 1) : 0] = true;
    }
    for (std::size_t i = 0; i < suspects.size() && i < wanted; ++i) {
        chosen[suspects[i] / kSectionBases] = true;
    }
}

void MinimizerSample::MakePieces() {
    for (std::uint32_t sequence = 0; sequence < layout.Sequences().size(); ++sequence) {
        const auto& [name, offset, length] = layout.Sequences()[sequence];
        for (std::uint64_t begin = 0; begin < length;) {
            const auto section = (offset + begin) / kSectionBases;
            const auto end = std::min<std::uint64_t>((section + 1) * kSectionBases - offset, length);
            if (chosen[section]) {
                const bool goes_on = !pieces.empty() && pieces.back().sequence == sequence &&
                                     pieces.back().end == begin && begin - pieces.back().begin < kLongestPiece;
                if (!goes_on) {
                    pieces.push_back({sequence, static_cast<std::uint32_t>(begin), 0});
                }
                pieces.back().end = static_cast<std::uint32_t>(end);
            }
            begin = end;
        }
    }
}

// Returns the part of a piece whose minimizers do not depend on bases outside `bases`. `begin` is the 0-based position
// in the sequence at which `bases` begin.
MinimizerSample::Piece MinimizerSample::CertainPart(const Piece& piece, const std::string& bases,
                                                    std::uint32_t begin) const {
    const auto& header = layout.Header();
    const auto end = begin + static_cast<std::uint32_t>(bases.size());
    const auto ends = EndsOfRingEntries(bases, header);
    auto certain = piece;
    if (begin > 0) {  // Minimizers are certain as soon as the ring has only k-mers of `bases`.
        const std::size_t first = header.window + header.k + 1;
        certain.begin = std::max(piece.begin, first < ends.size() ? begin + ends[first] : end);
    }
    if (end < layout.Sequences()[piece.sequence].length) {
        // A minimizer is certain once it has left the window. The last run of equal bases may continue after `bases`.
        const std::size_t after = header.window + 2;
        certain.end = std::min(piece.end, begin + (after <= ends.size() ? ends[ends.size() - after] + 1 : 0));
    }
    return certain;
}

// With homopolymer compression, a minimizer must end where a run of equal bases ends. CheckPiece alone would miss some
// faulty minimizers that end inside a run, because a piece in the middle of a very long run has no certain part.
bool MinimizerSample::IsInsideRun(const Found& minimizer) const {
    const auto& [name, offset, length] = layout.Sequences()[minimizer.position >> 32U];
    const auto base = (minimizer.position & 0xFFFFFFFFU) >> 1U;
    return (layout.Header().flags & MM_I_HPC) != 0 && base + 1 < length &&
           mm_seq4_get(bases, offset + base) == mm_seq4_get(bases, offset + base + 1);
}

// Compares the minimizers that the index has in a piece with those computed from the piece and some bases around it.
void MinimizerSample::CheckPiece(const Piece& piece) const {
    const auto& header = layout.Header();
    const auto& sequence = layout.Sequences()[piece.sequence];
    const std::uint32_t around = 4 * (header.window + 2 * header.k);
    const auto begin = piece.begin - std::min(piece.begin, around);
    const auto end = piece.end + std::min(sequence.length - piece.end, around);
    std::string unpacked(end - begin, '\0');
    UnpackBases(bases, sequence.offset + begin, sequence.offset + end, unpacked.data());
    const auto certain = CertainPart(piece, unpacked, begin);
    if (certain.begin >= certain.end) {
        return;
    }
    const auto at = [&](std::uint64_t base) { return Found{std::uint64_t{piece.sequence} << 32U | base << 1U, 0}; };
    std::vector<Found> indexed, computed;
    for (const auto& list : found) {
        indexed.insert(indexed.end(), std::lower_bound(list.begin(), list.end(), at(certain.begin)),
                       std::lower_bound(list.begin(), list.end(), at(certain.end)));
    }
    MinimizerList sketch;
    sketch.Sketch(unpacked, header, piece.sequence);
    for (const auto& minimizer : sketch) {
        const Found place{minimizer.y + (std::uint64_t{begin} << 1U), minimizer.x >> 8U};
        if (place >= at(certain.begin) && place < at(certain.end)) {
            computed.push_back(place);
        }
    }
    std::sort(indexed.begin(), indexed.end());
    std::sort(computed.begin(), computed.end());
    if (indexed != computed) {
        throw DamagedIndex(kDifferent);
    }
}

void MinimizerSample::Check() {
    ForEach(found.size(), [this](std::size_t worker, unsigned) {
        auto& list = found[worker];
        if (std::any_of(list.begin(), list.end(), [this](const Found& f) { return IsInsideRun(f); })) {
            throw DamagedIndex(kDifferent);
        }
        std::sort(list.begin(), list.end());
    });
    ForEach(pieces.size(), [this](std::size_t piece, unsigned) { CheckPiece(pieces[piece]); });
}

}  // namespace qel_minimap2
