#include "third_party_alignment/qel_minimap2/index/minimizer_check.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string>
#include <unordered_set>

#include <mmpriv.h>

namespace qel_minimap2 {

namespace {

constexpr std::uint32_t kPieces = 32;
constexpr std::uint32_t kPieceBases = 20000;
// Within this distance of a cut, the minimizers of a piece need not be those of the whole sequence.
constexpr std::uint32_t kEdge = 1000;

// A part of a sequence, half-open and 0-based, and whether it was cut out of it.
struct Piece {
    std::uint32_t sequence, begin, end;
    bool is_cut;
    std::string bases;
};

Piece MiddleOf(const mm_idx_t& index, std::uint32_t sequence) {
    const auto length = index.seq[sequence].len;
    const bool is_cut = length > kPieceBases;
    const auto begin = is_cut ? (length - kPieceBases) / 2 : 0;
    const auto end = is_cut ? begin + kPieceBases : length;
    Piece piece{sequence, begin, end, is_cut, std::string(end - begin, '\0')};
    if (begin < end) {
        static_assert(sizeof(std::uint8_t) == sizeof(char));
        mm_idx_getseq(&index, sequence, begin, end, reinterpret_cast<std::uint8_t*>(piece.bases.data()));
    }
    for (char& base : piece.bases) {
        base = "ACGTN"[static_cast<unsigned char>(base)];
    }
    return piece;
}

// A list of minimizers, whose memory minimap2 takes from malloc: hash and span in x, position and strand in
// y.
class Minimizers {
public:
    Minimizers(const mm_idx_t& index, const Piece& piece, int window) {
        if (!piece.bases.empty()) {
            mm_sketch(nullptr, piece.bases.data(), static_cast<int>(piece.bases.size()), window, index.k,
                      piece.sequence, index.flag & MM_I_HPC, &list);
        }
    }
    Minimizers(const Minimizers&) = delete;
    Minimizers& operator=(const Minimizers&) = delete;
    ~Minimizers() { std::free(list.a); }

    const mm128_t* begin() const { return list.a; }
    const mm128_t* end() const { return list.a + list.n; }

private:
    mm128_v list{};
};

bool IsNearCut(const Piece& piece, const mm128_t& minimizer) {
    const auto last_base = static_cast<std::uint32_t>(minimizer.y) >> 1U;
    return piece.is_cut && (last_base < kEdge || last_base + kEdge > piece.bases.size());
}

bool IsIndexed(const mm_idx_t& index, const Piece& piece, const mm128_t& minimizer) {
    const auto position = minimizer.y + (static_cast<std::uint64_t>(piece.begin) << 1U);
    int count = 0;
    const std::uint64_t* const positions = mm_idx_get(&index, minimizer.x >> 8U, &count);
    return std::binary_search(positions, positions + count, position);
}

// How many minimizers were looked up and how many of them the index has where they belong.
struct Tally {
    void Add(bool is_found) {
        ++looked_up;
        found += is_found ? 1 : 0;
    }

    std::uint64_t looked_up = 0, found = 0;
};

}  // namespace

void CheckMinimizers(const mm_idx_t& index) {
    // Minimizers of a window are also some of each smaller window. When those that only a smaller window has
    // are in the index, it was made with a smaller one than it says. The half shows large differences, the
    // next smaller one small ones.
    const int smaller_windows[] = {index.w / 2, index.w - 1};
    Tally own, of_smaller[std::size(smaller_windows)];
    const std::uint32_t pieces = std::min(index.n_seq, kPieces);
    for (std::uint32_t i = 0; i < pieces; ++i) {
        const auto sequence = static_cast<std::uint64_t>(index.n_seq - 1) * i / std::max(pieces - 1, 1U);
        const auto piece = MiddleOf(index, static_cast<std::uint32_t>(sequence));
        std::unordered_set<std::uint64_t> positions;
        for (const auto& minimizer : Minimizers(index, piece, index.w)) {
            positions.insert(minimizer.y);
            if (!IsNearCut(piece, minimizer)) {
                own.Add(IsIndexed(index, piece, minimizer));
            }
        }
        for (std::size_t window = 0; index.w > 1 && window < std::size(smaller_windows); ++window) {
            for (const auto& minimizer : Minimizers(index, piece, smaller_windows[window])) {
                if (!positions.contains(minimizer.y) && !IsNearCut(piece, minimizer)) {
                    of_smaller[window].Add(IsIndexed(index, piece, minimizer));
                }
            }
        }
    }
    // A little is let pass: other versions of minimap2 may choose among equals in another way.
    const bool is_short_of_own = (own.looked_up - own.found) * 100 > own.looked_up;
    const bool has_others = std::any_of(std::begin(of_smaller), std::end(of_smaller),
                                        [](const Tally& tally) { return tally.found * 10 > tally.looked_up; });
    if (is_short_of_own || has_others) {
        throw std::runtime_error("the minimap2 index is damaged: its minimizers are not those of its sequences");
    }
}

}  // namespace qel_minimap2
