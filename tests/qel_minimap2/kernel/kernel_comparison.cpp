#include "qel_minimap2/kernel/kernel_comparison.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <sstream>

namespace Tests {

namespace {

using qel_minimap2::kernel::AlignmentCall;

// Match, mismatch, gap open, gap extend, second gap open, second gap extend.
constexpr std::array<int, 6> kScorings[] = {{2, 4, 4, 2, 24, 1},
                                            {1, 4, 6, 2, 26, 1},
                                            {2, 8, 12, 2, 24, 1},
                                            {4, 4, 4, 2, 24, 1},
                                            {5, 4, 8, 6, 30, 2},
                                            {1, 4, 6, 2, 7, 1},
                                            {2, 17, 6, 3, 20, 1},
                                            {6, 24, 9, 3, 18, 0},
                                            // The last two are just beyond the limits of what fits into a strip.
                                            {6, 4, 1, 1, 30, 0},
                                            {1, 8, 1, 3, 2, 2}};
// minimap2 uses the first four.
constexpr int kFlags[] = {0x008, 0x000, 0x040, 0x0c2, 0x00a, 0x002, 0x042, 0x0c0, 0x088, 0x080};
constexpr int kDrops[] = {-1, 0, 10, 50, 100, 200, 400, 400};

struct Result : ksw_extz_t {
    Result() : ksw_extz_t{} { cigar = nullptr; }  // The static analyser does not follow a base class's initialiser.
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    ~Result() { std::free(cigar); }

    std::string Text() const {
        std::ostringstream text;
        text << "max " << max << " dropped " << zdropped << " at " << max_q << "," << max_t << " mqe " << mqe << " at "
             << mqe_t << " score " << score << " end " << reach_end << " room " << m_cigar << " CIGAR ";
        for (int i = 0; i < n_cigar; ++i) {
            text << (cigar[i] >> 4) << "MIDNSHP=XB??????"[cigar[i] & 15];
        }
        return text.str();
    }
};

void CallMinimap2(const AlignmentCall& c, ksw_extz_t& result) {
    ksw_extd2_sse(c.pool, c.query_length, c.query, c.target_length, c.target, static_cast<std::int8_t>(c.letters),
                  c.matrix, static_cast<std::int8_t>(c.open), static_cast<std::int8_t>(c.extend),
                  static_cast<std::int8_t>(c.open2), static_cast<std::int8_t>(c.extend2), c.band, c.z_drop, c.end_bonus,
                  c.flags, &result);
}

}  // namespace

void RandomCalls::MakeTarget() {
    const int most = !OneIn(3) ? 260 : !OneIn(3) ? 700 : longest;
    target.resize(static_cast<std::size_t>(Between(1, std::min(most, longest))));
    alphabet = OneIn(6) ? Between(1, 3) : 4;
    for (auto& base : target) {
        base = static_cast<std::uint8_t>(Between(0, alphabet - 1));
    }
    if (OneIn(5)) {
        const auto period = static_cast<std::size_t>(Between(1, 12));
        for (std::size_t i = period; i < target.size(); ++i) {
            target[i] = target[i - period];
        }
    }
}

void RandomCalls::MakeRelatedQuery() {
    const int error = Between(0, 300);
    const bool long_gaps = OneIn(4);
    const auto any_base = [this] { return static_cast<std::uint8_t>(Between(0, 3)); };
    for (std::size_t i = 0; i < target.size(); ++i) {
        const int draw = Between(0, 999);
        if (draw < error / 3) {
            continue;
        }
        if (draw < error * 2 / 3) {
            query.push_back(any_base());
        }
        query.push_back(draw < error ? any_base() : target[i]);
        if (long_gaps && OneIn(200)) {
            const int length = Between(1, 80);
            if (OneIn(2)) {
                i += static_cast<std::size_t>(length);
            } else {
                std::generate_n(std::back_inserter(query), length, any_base);
            }
        }
    }
    if (query.empty()) {
        query.push_back(0);
    }
    if (OneIn(4)) {
        query.resize(static_cast<std::size_t>(Between(1, static_cast<int>(query.size()))));
    }
    if (OneIn(8)) {
        std::generate_n(std::back_inserter(query), Between(1, 400), any_base);
    }
}

void RandomCalls::MakeQuery() {
    const int ambiguous_per_thousand = OneIn(4) ? Between(1, 30) : 0;
    const auto add_ambiguous = [&](std::vector<std::uint8_t>& sequence) {
        for (auto& base : sequence) {
            base = Between(0, 999) < ambiguous_per_thousand ? 4 : base;
        }
    };
    add_ambiguous(target);  // A related query has some of these at the same places.
    query.clear();
    if (!OneIn(5)) {
        MakeRelatedQuery();
    } else {
        query.resize(static_cast<std::size_t>(Between(1, static_cast<int>(target.size()) + 50)));
        for (auto& base : query) {
            base = static_cast<std::uint8_t>(Between(0, alphabet - 1));
        }
    }
    add_ambiguous(query);
}

void RandomCalls::MakeTwoGaps() {
    constexpr int kWidths[] = {32, 64, 96, 128, 192, 256};
    const int width = kWidths[Between(0, 5)];
    const int shortest = width * 3 / 2;
    const bool at_edge = width <= 96 && OneIn(2);
    // If set, each gap is in pieces, so that its bases lie in as many breaks as possible.
    const bool scattered = at_edge && width == 32 && OneIn(2);
    const int piece = scattered ? Between(1, 6) : 1000;
    const int step = piece + Between(3, 9);
    const int length = shortest + Between(0, shortest / 2 + 160) + (scattered ? 2 * width / piece * step : 0);
    target.resize(static_cast<std::size_t>(length));
    const auto period = OneIn(2) ? target.size() : static_cast<std::size_t>(Between(1, 40));
    for (std::size_t i = 0; i < target.size(); ++i) {
        target[i] = i < period ? static_cast<std::uint8_t>(Between(0, 3)) : target[i - period];
    }
    // The gaps mostly have about the same length. The best path then leaves the main diagonal only between them. With
    // `at_edge`, this path has no errors and reaches or almost reaches the first diagonal outside the band, so a path
    // inside and one outside may have the same score. That diagonal is farther away on the side of insertions.
    const bool inserts_first = OneIn(2);
    const int inserted = !at_edge ? Between(8, 150) : inserts_first ? width + Between(0, 2) : width - 1;
    const int deleted = at_edge ? inserted : OneIn(3) ? Between(8, 150) : inserted + Between(-3, 3);
    const int pieces_before_last = (inserted - 1) / piece;
    const int first = Between(0, scattered ? 40 : length);
    const int apart = Between(1, at_edge ? 24 : 90);
    const int deletion = inserts_first ? first + pieces_before_last * step + apart : first;
    const int insertion = inserts_first ? first : first + pieces_before_last * (step - piece) + deleted + apart;
    const int error = at_edge ? 0 : Between(0, 80);
    // Returns how many bases of a gap's piece lie at or after `offset`; 0 or less if `offset` is in no piece.
    const auto left_of_piece = [&](int offset, int bases) {
        const int number = offset / step;
        return offset < 0 ? 0 : std::min(piece, bases - number * piece) - offset % step;
    };
    query.clear();
    for (int i = 0; i < length; ++i) {
        const int offset = i - insertion;
        for (int left = offset % step == 0 ? left_of_piece(offset, inserted) : 0; left > 0; --left) {
            query.push_back(OneIn(2) ? target[static_cast<std::size_t>(left % length)]
                                     : static_cast<std::uint8_t>(Between(0, 3)));
        }
        if (left_of_piece(i - deletion, deleted) <= 0) {
            query.push_back(Between(0, 999) < error ? static_cast<std::uint8_t>(Between(0, 3))
                                                    : target[static_cast<std::size_t>(i)]);
        }
    }
    if (query.empty()) {
        query.push_back(0);
    }
}

AlignmentCall RandomCalls::Next() {
    if (attacks) {
        MakeTwoGaps();
    } else {
        MakeTarget();
        MakeQuery();
    }
    if (ends) {
        query.resize(static_cast<std::size_t>(Between(1, std::min(static_cast<int>(query.size()), 60))));
        // Some targets are so long that the scores of gaps do not fit into 16 bits.
        const int length = OneIn(500) ? 9000 : static_cast<int>(query.size()) * Between(2, 6);
        target.resize(static_cast<std::size_t>(length), target.back());
    }
    auto s = kScorings[OneIn(3) ? Between(0, 9) : 0];
    if (!attacks && OneIn(ends ? 2 : 12)) {
        const int extend = Between(1, 6);
        const int gap = Between(1, 18) + extend;
        s = {Between(1, 20), Between(1, std::min(2 * gap, 40)), gap - extend, extend, Between(gap, 51 - gap),
             extend - 1};
    }
    matrix.assign(25, static_cast<std::int8_t>(OneIn(3) ? 0 : -1));
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = 0; j < 4; ++j) {
            matrix[i * 5 + j] = static_cast<std::int8_t>(i == j ? s[0] : -s[1]);
        }
    }
    const int query_length = static_cast<int>(query.size());
    const int target_length = static_cast<int>(target.size());
    const int longer = std::max(query_length, target_length);
    int bands[] = {-1, 30001, 30001, 30001, 751, longer + Between(-2, 2), Between(0, 64), Between(1, longer)};
    if (attacks || ends) {
        std::fill(std::begin(bands), std::end(bands), ends && OneIn(2) ? Between(0, 2 * query_length) : -1);
    }
    const int flags = ends       ? KSW_EZ_EXTZ_ONLY | (kFlags[Between(0, 9)] & ~KSW_EZ_APPROX_MAX)
                      : attacks  ? KSW_EZ_APPROX_MAX | (OneIn(4) ? 0 : KSW_EZ_REV_CIGAR)
                      : OneIn(3) ? kFlags[Between(0, 9)]
                                 : kFlags[Between(0, 3)];
    return {nullptr,
            query_length,
            query.data(),
            target_length,
            target.data(),
            5,
            matrix.data(),
            s[2],
            s[3],
            s[4],
            s[5],
            std::max(bands[Between(0, 7)], -1),
            kDrops[Between(0, 7)],
            OneIn(3) ? Between(0, 40) : -1,
            flags};
}

std::string CompareWithMinimap2(const qel_minimap2::kernel::Kernels& kernels,
                                const std::function<qel_minimap2::kernel::AlignmentCall()>& next, long count,
                                ComparisonFigures& figures) {
    std::string difference;
    while (count > 0 && difference.empty()) {
        Result expected;
        Result actual;
        for (int again = 0; again < 4 && count > 0 && difference.empty(); ++again, --count) {
            const auto call = next();
            CallMinimap2(call, expected);
            ++figures.calls;
            if (!kernels.align(call, actual)) {
                ++figures.left_to_minimap2;
                CallMinimap2(call, actual);
            }
            figures.dropped += expected.zdropped;
            figures.reached_end += expected.reach_end;
            figures.with_cigar += expected.n_cigar > 0 ? 1 : 0;
            if ((call.flags & KSW_EZ_EXTZ_ONLY) != 0) {
                expected.score = actual.score = 0;  // Undefined after an early end; minimap2 does not read it.
            }
            if (actual.Text() != expected.Text()) {
                std::ostringstream text;
                text << "call " << figures.calls << ": query " << call.query_length << " target " << call.target_length
                     << " band " << call.band << " drop " << call.z_drop << " bonus " << call.end_bonus << " flags "
                     << call.flags << " gaps " << call.open << "," << call.extend << "," << call.open2 << ","
                     << call.extend2 << "\nminimap2: " << expected.Text() << "\nkernel:   " << actual.Text();
                difference = text.str();
            }
        }
    }
    return difference;
}

}  // namespace Tests
