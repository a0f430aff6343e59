#include "qel_minimap2/kernel/chain_comparison.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>

#include <mmpriv.h>

#include "qel_minimap2/kernel/anchor_sort.h"

namespace Tests {

namespace {

using qel_minimap2::kernel::ChainCall;
using qel_minimap2::kernel::Chains;
using qel_minimap2::kernel::ChainScoring;
using qel_minimap2::kernel::JoinCall;
using qel_minimap2::kernel::Kernels;

// Copies anchors for a call. The call frees the copy or returns it.
mm128_t* Copy(const std::vector<mm128_t>& anchors) {
    auto* const copy = static_cast<mm128_t*>(std::malloc(anchors.size() * sizeof(mm128_t)));
    std::copy(anchors.begin(), anchors.end(), copy);
    return copy;
}

bool Same(const mm128_t& a, const mm128_t& b) {
    return a.x == b.x && a.y == b.y;
}

// Compares the results of two calls and frees them.
bool SameChains(const Chains& a, const Chains& b) {
    bool same = a.chain_count == b.chain_count &&
                std::equal(a.chains, a.chains + a.chain_count, b.chains, b.chains + b.chain_count);
    std::int64_t count = 0;
    for (int i = 0; same && i < a.chain_count; ++i) {
        count += static_cast<std::int32_t>(a.chains[i]);
    }
    same = same && std::equal(a.anchors, a.anchors + count, b.anchors, b.anchors + count, Same);
    for (const auto& chains : {a, b}) {
        std::free(chains.anchors);
        std::free(chains.chains);
    }
    return same;
}

std::string Describe(const char* what, const std::vector<mm128_t>& anchors, long call) {
    std::ostringstream text;
    text << what << ", call " << call << ", " << anchors.size() << " anchors:";
    for (std::size_t i = 0; i < std::min<std::size_t>(anchors.size(), 40); ++i) {
        text << ' ' << (anchors[i].x >> 32U) << ':' << (anchors[i].x & UINT32_MAX) << '-'
             << (anchors[i].y & UINT32_MAX);
    }
    return text.str();
}

ChainScoring RandomScoring(RandomAnchors& random, int band) {
    const bool usual = !random.OneIn(4);
    return {band,
            usual ? (random.MakesArrays() ? random.Between(0, 6) : 25) : random.Between(0, random.OneIn(2) ? 4 : 40),
            usual ? 3 : random.Between(1, 4),
            usual ? 40 : random.Between(0, 60),
            usual ? 0.12F : 0.01F * static_cast<float>(random.Between(0, 40)),
            usual ? 0.0F : 0.01F * static_cast<float>(random.Between(0, 20))};
}

// Chains anchors with our kernel if `ours`, otherwise with minimap2. Returns false if our kernel leaves them to
// minimap2.
using Chain = std::function<bool(Chains&, bool ours)>;

// The static analyser does not see that minimap2 frees the anchors passed to it.
// NOLINTBEGIN(clang-analyzer-unix.Malloc)
Chain Chaining(const Kernels& kernels, const ChainCall& call) {
    return [call, &kernels](Chains& chains, bool ours) {
        if (ours) {
            return kernels.chain(call, chains);
        }
        const auto& s = call.scoring;
        chains.anchors = mg_lchain_dp(call.reference_distance, call.read_distance, s.band, s.most_skipped,
                                      call.most_tried, s.least_anchors, s.least_score, s.gap_penalty, s.skip_penalty, 0,
                                      1, chains.count, chains.anchors, &chains.chain_count, &chains.chains, nullptr);
        return true;
    };
}

Chain Joining(const Kernels& kernels, const JoinCall& call) {
    return [call, &kernels](Chains& chains, bool ours) {
        if (ours) {
            return kernels.join(call, chains);
        }
        const auto& s = call.scoring;
        chains.anchors = mg_lchain_rmq(call.distance, call.near_distance, s.band, s.most_skipped, call.most_in_reach,
                                       s.least_anchors, s.least_score, s.gap_penalty, s.skip_penalty, chains.count,
                                       chains.anchors, &chains.chain_count, &chains.chains, nullptr);
        return true;
    };
}

std::string CompareOne(const char* what, const std::vector<mm128_t>& sorted, const Chain& chain,
                       ChainFigures& figures) {
    const auto size = static_cast<std::int64_t>(sorted.size());
    Chains actual{nullptr, size, Copy(sorted), 0, nullptr};
    ++figures.calls;
    if (!chain(actual, true)) {
        ++figures.left_to_minimap2;
        const bool untouched = std::equal(sorted.begin(), sorted.end(), actual.anchors, Same);
        std::free(actual.anchors);
        return untouched ? "" : Describe("changed though left to minimap2", sorted, figures.calls);
    }
    Chains expected{nullptr, size, Copy(sorted), 0, nullptr};
    chain(expected, false);
    figures.chains += expected.chain_count;
    return SameChains(expected, actual) ? "" : Describe(what, sorted, figures.calls);
}
// NOLINTEND(clang-analyzer-unix.Malloc)

std::string Compare(const char* what, RandomAnchors& random, long count, ChainFigures& figures,
                    const std::function<Chain()>& next) {
    std::string difference;
    for (; count > 0 && difference.empty(); --count) {
        auto anchors = random.MakesArrays()
                           ? random.Array(random.Between(10, 150), random.Between(2, 300), random.Between(2, 60))
                           : random.Next(random.OneIn(50) ? 4000 : 150);
        radix_sort_128x(anchors.data(), anchors.data() + anchors.size());
        difference = CompareOne(what, anchors, next(), figures);
    }
    return difference;
}

// Returns chains of `per_chain` touching anchors. From the first chain to the second, the diagonal moves by `first`
// bases; each further move is one base longer.
std::vector<mm128_t> DistantChains(int chains, int per_chain, int first) {
    constexpr unsigned kLength = 255;
    std::vector<mm128_t> anchors;
    std::uint64_t reference = kLength;
    std::uint64_t read = kLength;
    for (int chain = 0; chain < chains; ++chain) {
        for (int i = 0; i < per_chain; ++i) {
            anchors.push_back({reference += kLength, std::uint64_t{kLength} << 32U | (read += kLength)});
        }
        reference += static_cast<unsigned>(first + chain);
    }
    return anchors;
}

}  // namespace

void RandomAnchors::Add(std::uint64_t sequence, int reference, int read) {
    if (reference >= 0 && read >= 0 && reference < reference_length && read < read_length) {
        anchors.push_back({sequence << 32U | static_cast<unsigned>(reference),
                           static_cast<std::uint64_t>(anchor_length) << 32U | static_cast<unsigned>(read)});
    }
}

void RandomAnchors::AddPiece() {
    const auto sequence =
        static_cast<std::uint64_t>(Between(0, sequences - 1)) | (OneIn(2) ? std::uint64_t{1} << 31U : 0);
    int reference = Between(0, reference_length);
    int read = Between(0, read_length);
    const int copies = OneIn(3) ? Between(1, 6) : 1;
    const int shift = Between(1, 400) * step;
    // If a copy is as far back on the read as it is ahead on the reference, its anchors may have the same
    // penalties as the original's.
    const int back = OneIn(2) ? shift : 0;
    for (int left = Between(1, 60); left > 0; --left) {
        for (int copy = 0; copy < copies; ++copy) {
            Add(sequence, reference + copy * shift, read - copy * back);
        }
        const int advance = Between(1, 30) * step;
        reference += advance + (OneIn(6) ? Between(-3, 3) : 0) + (OneIn(40) ? Between(0, 3000) : 0);
        read += advance + (OneIn(40) ? Between(0, 3000) : 0);
    }
}

void RandomAnchors::AddRepeats() {
    const auto sequence = static_cast<std::uint64_t>(Between(0, sequences - 1));
    const int period = Between(2, 200);
    const int reference = Between(0, reference_length);
    const int read = Between(0, read_length);
    const int rows = Between(1, 30);
    const int columns = Between(1, 30);
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            if (!OneIn(5)) {
                Add(sequence, reference + row * period, read + column * period);
            }
        }
    }
}

std::vector<mm128_t> RandomAnchors::Next(int most) {
    anchors.clear();
    sequences = OneIn(2) ? Between(1, 3) : Between(1, 300);
    reference_length = OneIn(3) ? Between(1000, 200'000) : Between(1'000'000, 250'000'000);
    read_length = OneIn(4) ? Between(50, 60'000) : Between(500, 9000);
    anchor_length = OneIn(4) ? Between(1, 28) : 15;
    step = OneIn(4) ? 5 : 1;
    const auto wanted = static_cast<std::size_t>(Between(1, most));
    while (anchors.size() < wanted) {
        if (OneIn(3)) {
            AddPiece();
        } else if (OneIn(2)) {
            AddRepeats();
        } else {
            Add(static_cast<std::uint64_t>(Between(0, sequences - 1)), Between(0, reference_length),
                Between(0, read_length));
        }
    }
    // minimap2 collects the anchors of a read in this order.
    std::stable_sort(anchors.begin(), anchors.end(), [](const mm128_t& a, const mm128_t& b) { return a.y < b.y; });
    return anchors;
}

std::vector<mm128_t> RandomAnchors::Array(int copies, int per_copy, int one_in) {
    anchors.clear();
    reference_length = read_length = INT32_MAX;
    anchor_length = 15;
    std::vector<int> places;
    for (int place = 0; static_cast<int>(places.size()) < per_copy; place += Between(1, 20)) {
        places.push_back(place);
    }
    const int unit = places.back() + 10;
    std::vector<int> starts;
    for (int start = 0; static_cast<int>(starts.size()) < copies; start += unit + Between(-1, 1)) {
        starts.push_back(start);
    }
    for (int read = 0; read < 2 * per_copy; ++read) {
        const int place = places[static_cast<std::size_t>(read % per_copy)];
        const int error = OneIn(10) ? Between(-1, 1) : 0;
        for (const int start : starts) {
            if (!OneIn(one_in)) {
                Add(0, start + place, 1 + read / per_copy * unit + place + error);
            }
        }
    }
    return anchors;
}

bool JoinByDefault(const Kernels& kernels, const std::vector<mm128_t>& sorted) {
    Chains chains{nullptr, static_cast<std::int64_t>(sorted.size()), Copy(sorted), 0, nullptr};
    const bool done = kernels.join({5000, 1000, 100'000, {20'000, 25, 3, 40, 0.12F, 0}}, chains);
    std::free(chains.anchors);
    std::free(done ? chains.chains : nullptr);
    return done;
}

std::string CompareSorting(RandomAnchors& random, long count) {
    for (long call = 1; call <= count; ++call) {
        auto anchors = random.Next(random.OneIn(100) ? 9000 : random.OneIn(10) ? 2000 : 150);
        if (random.OneIn(2000)) {  // More than 65536 anchors are sorted in another way.
            while (anchors.size() < 65'535) {
                const auto more = random.Next(9000);
                anchors.insert(anchors.end(), more.begin(), more.end());
            }
            anchors.resize(static_cast<std::size_t>(random.Between(65'535, 65'537)));
        }
        if (random.OneIn(3)) {  // Makes keys that differ only in random bits.
            std::uint64_t mask = 0;
            for (int i = random.Between(1, 40); i > 0; --i) {
                mask |= 1ULL << random.Between(0, 63);
            }
            for (auto& anchor : anchors) {
                anchor.x = (anchor.x * 0x9E3779B97F4A7C15ULL ^ anchor.y * 0xBF58476D1CE4E5B9ULL) & mask;
            }
        }
        auto expected = anchors;
        radix_sort_128x(expected.data(), expected.data() + expected.size());
        auto actual = anchors;
        qel_minimap2::kernel::SortAnchors(actual.data(), actual.data() + actual.size());
        if (!std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(), Same)) {
            return Describe("sorted", anchors, call);
        }
    }
    return "";
}

std::string CompareChaining(const Kernels& kernels, RandomAnchors& random, long count, ChainFigures& figures) {
    return Compare("chained", random, count, figures, [&] {
        const bool usual = !random.OneIn(4);
        // If true, the limits may be so small that a register without a possible predecessor lies between registers
        // with one.
        const bool near = random.OneIn(2);
        const int most = near ? 200 : 9000;
        const ChainCall call{usual ? 5000 : random.Between(1, most), usual ? 5000 : random.Between(1, most),
                             usual ? 5000 : random.Between(1, 300),
                             RandomScoring(random, usual ? 500 : random.Between(0, near ? 30 : 2000))};
        return Chaining(kernels, call);
    });
}

std::string CompareJoining(const Kernels& kernels, RandomAnchors& random, long count, ChainFigures& figures) {
    return Compare("joined", random, count, figures, [&] {
        const bool usual = !random.OneIn(4);
        const JoinCall call{usual ? 5000 : random.Between(1, 9000),
                            usual ? 1000 : random.Between(0, random.OneIn(2) ? 9000 : 40),
                            usual ? 100'000 : random.Between(1, 300),
                            RandomScoring(random, usual ? 20'000 : random.Between(0, random.OneIn(2) ? 30 : 9000))};
        return Joining(kernels, call);
    });
}

std::string CompareDistantChains(const Kernels& kernels, float gap_penalty, float skip_penalty, ChainFigures& figures) {
    constexpr int kFarthest = 19'000, kMoves = 19;
    // With this many anchors, the score of a chain exceeds the penalty.
    const int per_chain = 4 + static_cast<int>((gap_penalty + skip_penalty) * kFarthest / 250);
    std::string difference;
    for (int first = 1; first < kFarthest && difference.empty(); first += kMoves) {
        const auto anchors = DistantChains(kMoves + 1, per_chain, first);
        const ChainScoring scoring{20'000, 25, 3, 40, gap_penalty, skip_penalty};
        difference = CompareOne("chained", anchors, Chaining(kernels, {20'000, 20'000, 5000, scoring}), figures) +
                     CompareOne("joined", anchors, Joining(kernels, {5000, 1000, 100'000, scoring}), figures);
    }
    return difference;
}

}  // namespace Tests
