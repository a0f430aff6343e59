#include "qel_minimap2/index/from_mmi/minimizer_sample.h"

#include <algorithm>
#include <string>
#include <tuple>

#include "qel_minimap2/index/minimizer_list.h"
#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/parallel.h"

namespace qel_minimap2 {

namespace {

// minimap2 keeps the last k-mers in a ring that is one window long. Each base adds an entry; with homopolymer
// compression, each run of equal bases does. K-mers that are their own reverse complement add none. Returns where the
// entries of a part of a sequence end, 0-based. The first ones are left out: their k-mers reach back before the part.
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
    : layout(layout), bases(bases), found(WorkerLimit(), std::vector<std::vector<Found>>(kItems)) {
    for (const auto& sequence : layout.Sequences()) {
        offsets.push_back(sequence.offset);
    }
    ChooseSections(suspects);
    MakePieces();
}

void MinimizerSample::ChooseSections(const std::vector<std::uint64_t>& suspects) {
    const auto sections = (layout.BaseCount() + kSectionBases - 1) / kSectionBases;
    const auto wanted = std::min(std::max(sections / kBasesPerChosen, kLeastSections), sections);
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

void MinimizerSample::Keep(const Found& minimizer, unsigned worker) {
    const auto sequence = static_cast<std::uint32_t>(minimizer.position >> 32U);
    const auto last_base = static_cast<std::uint32_t>(minimizer.position) >> 1U;
    const auto after = std::upper_bound(
        pieces.begin(), pieces.end(), std::tuple(sequence, last_base),
        [](const auto& place, const Piece& piece) { return place < std::tuple(piece.sequence, piece.begin); });
    const auto piece = static_cast<std::size_t>(after - pieces.begin()) - 1;
    found[worker][piece * kItems / pieces.size()].push_back(minimizer);
}

// Returns the minimizers of a piece and some bases around it. `certain` becomes the part of the piece where they must
// be those of the whole sequence: bases further away have no influence there.
std::vector<MinimizerSample::Found> MinimizerSample::Computed(const Piece& piece, Piece& certain) const {
    const auto& header = layout.Header();
    const auto& sequence = layout.Sequences()[piece.sequence];
    const std::uint32_t around = 4 * (header.window + 2 * header.k);
    const auto begin = piece.begin - std::min(piece.begin, around);
    const auto end = piece.end + std::min(sequence.length - piece.end, around);
    std::string unpacked(end - begin, '\0');
    UnpackBases(bases, sequence.offset + begin, sequence.offset + end, unpacked.data());

    certain = piece;
    const auto ends = EndsOfRingEntries(unpacked, header);
    if (begin > 0) {  // Certain once the ring holds nothing but k-mers of these bases.
        const std::size_t first = header.window + header.k + 1;
        certain.begin = std::max(piece.begin, begin + (first < ends.size() ? ends[first] : end - begin));
    }
    if (end < sequence.length) {  // The last run may continue; a minimizer is certain once it has left the window.
        const std::size_t behind = header.window + 2;
        certain.end = std::min(piece.end, begin + (behind <= ends.size() ? ends[ends.size() - behind] + 1 : 0));
    }
    MinimizerList sketch;
    sketch.Sketch(unpacked, header, piece.sequence);
    std::vector<Found> minimizers;
    for (const auto& minimizer : sketch) {
        minimizers.push_back({minimizer.y + (std::uint64_t{begin} << 1U), minimizer.x >> 8U});
    }
    return minimizers;
}

// With homopolymer compression, a minimizer ends where a run of equal bases ends, never inside one. The comparison
// cannot find one that does: in a run longer than a piece, no part of the piece is certain.
bool MinimizerSample::IsInsideRun(const Found& minimizer) const {
    const auto& [name, offset, length] = layout.Sequences()[minimizer.position >> 32U];
    const auto base = (minimizer.position & 0xFFFFFFFFU) >> 1U;
    return (layout.Header().flags & MM_I_HPC) != 0 && base + 1 < length &&
           Base(offset + base) == Base(offset + base + 1);
}

void MinimizerSample::CheckItem(std::size_t item) {
    std::vector<Found> indexed;
    for (auto& of_worker : found) {
        indexed.insert(indexed.end(), of_worker[item].begin(), of_worker[item].end());
        of_worker[item] = {};
    }
    std::sort(indexed.begin(), indexed.end());
    bool is_sound = std::none_of(indexed.begin(), indexed.end(), [this](const Found& f) { return IsInsideRun(f); });
    const auto first_of = [this](std::size_t number) { return (number * pieces.size() + kItems - 1) / kItems; };
    for (auto i = first_of(item); i < first_of(item + 1); ++i) {
        Piece certain{};
        auto computed = Computed(pieces[i], certain);
        std::sort(computed.begin(), computed.end());
        const auto sequence = std::uint64_t{certain.sequence} << 32U;
        const auto lower = [&](const std::vector<Found>& list, std::uint64_t base) {
            return std::lower_bound(list.begin(), list.end(), Found{sequence + (base << 1U), 0});
        };
        is_sound &=
            certain.begin >= certain.end || std::equal(lower(indexed, certain.begin), lower(indexed, certain.end),
                                                       lower(computed, certain.begin), lower(computed, certain.end));
    }
    if (!is_sound) {
        throw DamagedIndex("its minimizers do not match its sequences");
    }
}

void MinimizerSample::Check() {
    ForEach(kItems, [this](std::size_t item, unsigned) { CheckItem(item); });
}

}  // namespace qel_minimap2
