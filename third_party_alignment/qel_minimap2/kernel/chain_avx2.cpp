#include <cstddef>
#include <cstring>

#include "third_party_alignment/qel_minimap2/kernel/chain_result.h"
#include "third_party_alignment/qel_minimap2/kernel/chain_score.h"
#include "third_party_alignment/qel_minimap2/kernel/chaining.h"
#include "third_party_alignment/qel_minimap2/kernel/scratch.h"

// For each anchor the library tries those before it, the nearest first, and keeps the best. A candidate is skipped when
// it lies in the chain of one that was tried before and is not better; after more than `most_skipped` of these the
// search ends early. Here the scores of eight candidates are computed at once. Those that cannot precede the anchor,
// which are most of them where a read has repeats, drop out eight at a time. The others are looked at one by one in the
// library's order, so that the search ends where the library's does.
namespace qel_minimap2::kernel {

namespace {

class Chaining {
public:
    Chaining(const ChainCall& call, const Chains& chains, int anchor_length)
        : call(call),
          anchors(chains.anchors),
          count(chains.count),
          length(anchor_length),
          pairs(call.scoring.gap_penalty, call.scoring.skip_penalty, anchor_length),
          reference_distance(Larger(call.reference_distance, call.scoring.band)),
          read_distance(Larger(call.read_distance, call.scoring.band)) {}

    bool Reserve() {
        const auto room = static_cast<std::size_t>(count) + std::size_t{2} * kLanes;
        constexpr std::size_t kPerAnchor = 7 * sizeof(std::int32_t) + sizeof(std::int64_t);
        auto* memory = ScratchMemory(Scratch::chaining, room * kPerAnchor);
        if (memory == nullptr) {
            return false;
        }
        wide_previous = reinterpret_cast<std::int64_t*>(memory);
        // Each list may be read a block ahead of its first entry.
        auto* lists = reinterpret_cast<std::int32_t*>(wide_previous + room) + kLanes;
        std::int32_t** const all[] = {&references, &reads, &scores, &previous, &peaks, &marks};
        for (auto** list : all) {
            *list = lists;
            std::memset(lists - kLanes, 0, sizeof *lists * kLanes);
            lists += room;
        }
        std::memset(marks, 0, sizeof *marks * static_cast<std::size_t>(count));
        return true;
    }

    void Score() {
        std::int64_t first = 0;
        std::int64_t highest = -1;  // The best of those in reach.
        for (std::int64_t i = 0; i < count; ++i) {
            const auto x = anchors[i].x;
            references[i] = static_cast<std::int32_t>(x);
            reads[i] = static_cast<std::int32_t>(anchors[i].y);
            while (first < i && (x >> 32U != anchors[first].x >> 32U || IsFar(x, first))) {
                ++first;
            }
            first = i - first > call.most_tried ? i - call.most_tried : first;
            BestBefore best{length};
            const std::int64_t last = TryCandidates(static_cast<int>(i), static_cast<int>(first), best);
            if (highest < 0 || IsFar(x, highest)) {
                highest = HighestScore(static_cast<int>(first), static_cast<int>(i));
            }
            // The early end may have left out the best in reach.
            if (highest >= 0 && highest < last) {
                TryOne(static_cast<int>(i), static_cast<int>(highest), best);
            }
            scores[i] = best.score;
            previous[i] = best.previous;
            wide_previous[i] = best.previous;
            peaks[i] = best.previous >= 0 ? Larger(peaks[best.previous], best.score) : best.score;
            if (highest < 0 || (!IsFar(x, highest) && scores[highest] < scores[i])) {
                highest = i;
            }
        }
    }

    ChainedAnchors Scored() const { return {wide_previous, scores, peaks, marks}; }

private:
    static constexpr int kLanes = 8;

    bool IsFar(std::uint64_t x, std::int64_t other) const {
        return x - anchors[other].x > static_cast<std::uint64_t>(reference_distance);
    }

    // Scores of anchor i behind those from `base` on, and which of them can precede it.
    TAVIK_INLINE __m256i Totals(int i, int base, unsigned& valid) const {
        const __m256i zero = _mm256_setzero_si256();
        const __m256i on_reference = _mm256_sub_epi32(_mm256_set1_epi32(references[i]), LoadEight(references + base));
        const __m256i on_read = _mm256_sub_epi32(_mm256_set1_epi32(reads[i]), LoadEight(reads + base));
        const __m256i apart = _mm256_abs_epi32(_mm256_sub_epi32(on_reference, on_read));
        const __m256i farthest = _mm256_set1_epi32(Smaller(reference_distance, read_distance));
        const __m256i bad = _mm256_or_si256(
            _mm256_or_si256(_mm256_cmpgt_epi32(on_read, farthest), _mm256_cmpeq_epi32(on_reference, zero)),
            _mm256_cmpgt_epi32(apart, _mm256_set1_epi32(call.scoring.band)));
        valid = MaskOf(_mm256_andnot_si256(bad, _mm256_cmpgt_epi32(on_read, zero)));
        if (valid == 0) {
            return zero;
        }
        const __m256i lesser = _mm256_min_epi32(on_reference, on_read);
        const __m256i penalized =
            _mm256_or_si256(_mm256_cmpgt_epi32(apart, zero), _mm256_cmpgt_epi32(lesser, pairs.Length()));
        return _mm256_add_epi32(pairs.Of(apart, lesser, penalized), LoadEight(scores + base));
    }

    // The candidates from i - 1 down to `first`. Returns the one at which the search ended early, or first - 1.
    int TryCandidates(int i, int first, BestBefore& best) {
        for (int top = i - 1; top >= first; top -= kLanes) {
            const int base = top - (kLanes - 1);
            unsigned valid = 0;
            const __m256i totals = Totals(i, base, valid);
            if (base < first) {
                valid &= 0xFFU << static_cast<unsigned>(first - base);
            }
            if (valid == 0) {
                continue;
            }
            const unsigned better = MaskOf(_mm256_cmpgt_epi32(totals, _mm256_set1_epi32(best.score)));
            const int end = LookAt(base, valid, better, totals, i, call.scoring.most_skipped, previous, marks, best);
            if (end >= 0) {
                return end;
            }
        }
        return first - 1;
    }

    void TryOne(int i, int candidate, BestBefore& best) const {
        unsigned valid = 0;
        const __m256i totals = Totals(i, candidate - (kLanes - 1), valid);
        const int total = _mm256_extract_epi32(totals, kLanes - 1);
        if (valid >> (kLanes - 1) != 0 && best.score < total) {
            best.score = total;
            best.previous = candidate;
        }
    }

    // The last of the highest scores from `first` to before `end`; -1 when there are none.
    std::int64_t HighestScore(int first, int end) const {
        std::int32_t highest = INT32_MIN;
        std::int64_t at = -1;
        const auto look = [&](int from, int to) {
            for (int j = to; j >= from; --j) {
                if (highest < scores[j]) {
                    highest = scores[j];
                    at = j;
                }
            }
        };
        int top = end - 1;
        for (; top - (kLanes - 1) >= first; top -= kLanes) {
            const int base = top - (kLanes - 1);
            if (MaskOf(_mm256_cmpgt_epi32(LoadEight(scores + base), _mm256_set1_epi32(highest))) != 0) {
                look(base, top);
            }
        }
        look(first, top);
        return at;
    }

    const ChainCall& call;
    const mm128_t* const anchors;
    const std::int64_t count;
    const int length;
    const PairScores pairs;
    const int reference_distance, read_distance;
    std::int32_t *references = nullptr, *reads = nullptr, *scores = nullptr, *previous = nullptr, *peaks = nullptr,
                 *marks = nullptr;
    std::int64_t* wide_previous = nullptr;
};

}  // namespace

bool ChainWithAvx2(const ChainCall& call, Chains& chains) {
    const int length = CommonLength(chains.anchors, chains.count);
    if (length < 0 || chains.count > INT32_MAX / 2) {
        return false;
    }
    Chaining chaining(call, chains, length);
    if (!chaining.Reserve()) {
        return false;
    }
    chaining.Score();
    TakeChains(call.scoring, chaining.Scored(), chains);
    return true;
}

}  // namespace qel_minimap2::kernel
