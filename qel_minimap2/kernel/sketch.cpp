#include "qel_minimap2/kernel/sketch.h"

#include <cstddef>
#include <cstring>

#include <bseq.h>
#include <kalloc.h>

#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/numbers.h"

namespace qel_minimap2::kernel {

namespace {

// A minimizer is the k-mer (the lesser of its two strands) with the lowest hash in a window of neighbouring k-mers.
// minimap2 walks base by base and keeps the last hashes in a ring; the processor mispredicts one or two branches for
// nearly every base. Here a piece of the sequence is hashed first, a register of bases at a time. Then the minimum is
// followed from one change to the next. There are two kinds of change:
// - Within a window's length after the minimum, a hash is not above it. The first such hash is the new minimum.
// - No such hash exists, and the minimum leaves the window. The lowest hash in the window is the new minimum; of equal
//   ones, the last. The other equal ones are minimizers too.
// This is minimap2's rule after a whole window of k-mers without ambiguous bases. At the first bases, and after an
// ambiguous one, there are exceptions; there the rule is applied base by base (Step).
class Sketch {
public:
    explicit Sketch(const SketchCall& call)
        : call(call), window(call.window), k(call.k), mask((1U << (2 * call.k)) - 1) {
        for (int p = 0; p < kHistory; ++p) {
            hashes[p] = kNone;
            strands[p] = kAmbiguous;
        }
    }

    void Run() {
        Reserve(call.minimizers->n + static_cast<std::size_t>(call.length / window));
        for (std::int64_t begin = 0; begin < call.length; begin += kPiece) {
            if (begin > 0) {
                std::memmove(hashes, hashes + kPiece, sizeof *hashes * kHistory);
                std::memmove(strands, strands + kPiece, kHistory);
                minimum -= kPiece;
            }
            piece_begin = static_cast<int>(begin);
            const int count = Smaller(kPiece, call.length - piece_begin);
            Hash(count);
            Choose(kHistory + count);
        }
        if (MinimumHash() != kNone) {
            Push(minimum);
        }
    }

private:
    static constexpr int kMostInWindow = 16;
    static constexpr int kHistory = 16;  // Hashes before a piece that its windows reach back to.
    static constexpr int kPiece = 4096;
    static constexpr std::int32_t kNone = INT32_MAX;  // Above all hashes.
    static constexpr std::uint8_t kAmbiguous = 2;

    // Sets the hashes and strands of the piece's `count` k-mers. A k-mer has the index of its last base.
    void Hash(int count) {
        std::int32_t* const out = hashes + kHistory;
        const char* const bases = call.bases + piece_begin;
        // The compiler must assume that storing a strand changes any member, so the loop works on copies.
        auto [forward, reverse, in_row] = behind;
        const std::uint32_t all = mask;
        const int least = k;
        const int to_highest = 2 * (k - 1);
        for (int p = 0; p < count; ++p) {
            const unsigned base = seq_nt4_table[static_cast<std::uint8_t>(bases[p])];
            if (base > 3) {
                in_row = 0;
                strands[kHistory + p] = kAmbiguous;
                out[p] = -1;
                continue;
            }
            forward = (forward << 2 | base) & all;
            reverse = reverse >> 2 | (3U ^ base) << to_highest;
            ++in_row;
            strands[kHistory + p] = forward < reverse ? 0 : 1;
            const std::uint32_t lesser = forward < reverse ? forward : reverse;
            out[p] = in_row < least ? -1 : static_cast<std::int32_t>(lesser);
        }
        behind = {forward, reverse, in_row};
        for (int p = 0; p < count; p += Ints::kWidth) {
            const Register kmers = Ints::Load(out + p);
            const Register none = Ints::Greater(Ints::All(0), kmers);
            Ints::Store(out + p, Lanes::Select(none, Ints::All(kNone), HashOf(kmers)));
        }
    }

    // minimap2's invertible hash of 2k bits, in 32 bits: it masks away all higher ones.
    TAVIK_INLINE Register HashOf(Register key) const {
        const Register all = Ints::All(static_cast<std::int32_t>(mask));
        key = Lanes::And(PlusShifted<21>(Lanes::Xor(key, Ints::All(-1)), key), all);
        key = Mix<24>(key);
        key = Lanes::And(PlusShifted<8>(PlusShifted<3>(key, key), key), all);
        key = Mix<14>(key);
        key = Lanes::And(PlusShifted<4>(PlusShifted<2>(key, key), key), all);
        key = Mix<28>(key);
        return Lanes::And(PlusShifted<31>(key, key), all);
    }
    template <int kBy>
    static TAVIK_INLINE Register PlusShifted(Register a, Register b) {
        return Ints::Add(a, Ints::ShiftLeft<kBy>(b));
    }
    template <int kBy>
    static TAVIK_INLINE Register Mix(Register a) {
        return Lanes::Xor(a, Ints::ShiftRight<kBy>(a));
    }

    void Choose(int end) {
        int p = kHistory;
        while (p < end) {
            if (strands[p] == kAmbiguous || known < window + k - 1) {
                Step(p++);
                continue;
            }
            const void* const next = std::memchr(strands + p, kAmbiguous, static_cast<std::size_t>(end - p));
            const int run_end =
                next != nullptr ? static_cast<int>(static_cast<const std::uint8_t*>(next) - strands) : end;
            Leap(p, run_end);
            known += run_end - p;
            p = run_end;
        }
    }

    // Applies minimap2's rule to one k-mer.
    void Step(int p) {
        known = strands[p] == kAmbiguous ? 0 : known + 1;
        const bool has_minimum = MinimumHash() != kNone;
        if (known == window + k - 1 && has_minimum) {
            PushOthers(EqualInWindow(p - window + 1, window - 1, MinimumHash()), p - window + 1);
        }
        if (hashes[p] <= MinimumHash()) {
            if (known >= window + k && has_minimum) {
                Push(minimum);
            }
            minimum = p;
        } else if (minimum == p - window) {
            Renew(p, known >= window + k - 1);
        }
    }

    // Applies it from p to `end`, where each window is whole and without ambiguous bases.
    void Leap(int p, int end) {
        while (p < end) {
            const int last = Smaller(minimum + window, end - 1);
            const std::int32_t lowest = MinimumHash();
            const unsigned not_above = ~Above(hashes + p, lowest) & ((2U << (last - p)) - 1);
            if (not_above != 0) {
                Push(minimum);
                minimum = p + __builtin_ctz(not_above);
                p = minimum + 1;
            } else if (last == minimum + window) {
                Renew(last, true);
                p = last + 1;
            } else {
                return;
            }
        }
    }

    // The minimum leaves the window that ends at p. The last of the lowest hashes in the window replaces it.
    void Renew(int p, bool is_whole) {
        if (is_whole && MinimumHash() != kNone) {
            Push(minimum);
        }
        const int first = p - window + 1;
        const std::int32_t lowest = LowestInWindow(first);
        const unsigned equal = EqualInWindow(first, window, lowest);
        minimum = first + 31 - __builtin_clz(equal);
        if (is_whole && lowest != kNone) {
            PushOthers(equal, first);
        }
    }

    std::int32_t MinimumHash() const { return hashes[minimum]; }

    // Sets the bit of each of 16 hashes that is above a value.
    static TAVIK_INLINE unsigned Above(const std::int32_t* from, std::int32_t value) {
        unsigned above = 0;
        TAVIK_UNROLL
        for (int i = 0; i < kMostInWindow; i += Ints::kWidth) {
            above |= Ints::MaskOf(Ints::Greater(Ints::Load(from + i), Ints::All(value))) << i;
        }
        return above;
    }

    TAVIK_INLINE unsigned EqualInWindow(int first, int count, std::int32_t value) const {
        unsigned equal = 0;
        TAVIK_UNROLL
        for (int i = 0; i < kMostInWindow; i += Ints::kWidth) {
            equal |= Ints::MaskOf(Ints::Equal(Ints::Load(hashes + first + i), Ints::All(value))) << i;
        }
        return equal & ((1U << count) - 1);
    }

    TAVIK_INLINE std::int32_t LowestInWindow(int first) const {
        const Register none = Ints::All(kNone);
        Register least = none;
        TAVIK_UNROLL
        for (int i = 0; i < kMostInWindow; i += Ints::kWidth) {
            const Register is_inside = Ints::Lowest(window - i);
            least = Ints::Min(least, Lanes::Select(is_inside, Ints::Load(hashes + first + i), none));
        }
        return Ints::Least(least);
    }

    void PushOthers(unsigned equal, int first) {
        for (; equal != 0; equal &= equal - 1) {
            const int p = first + __builtin_ctz(equal);
            if (p != minimum) {
                Push(p);
            }
        }
    }

    TAVIK_INLINE void Push(int p) {
        auto& list = *call.minimizers;
        if (list.n == list.m) {
            Reserve(list.m + 1);
        }
        const auto position = static_cast<std::uint32_t>(piece_begin + p - kHistory);
        list.a[list.n++] = {static_cast<std::uint64_t>(hashes[p]) << 8U | static_cast<unsigned>(k),
                            static_cast<std::uint64_t>(call.sequence) << 32U | position << 1U | strands[p]};
    }

    void Reserve(std::size_t count) {
        auto& list = *call.minimizers;
        if (count > list.m) {
            list.m = 2 * list.m > count ? 2 * list.m : count;
            list.a = static_cast<mm128_t*>(krealloc(call.pool, list.a, list.m * sizeof *list.a));
        }
    }

    const SketchCall& call;
    const int window;
    const int k;
    const std::uint32_t mask;
    struct {
        std::uint32_t forward, reverse;  // The last k bases on either strand.
        int in_row;                      // Bases since the last ambiguous one.
    } behind{};                          // The state of hashing after the last base.
    int known = 0;                       // Bases since the last ambiguous one, at the last k-mer chosen from.
    int piece_begin = 0;                 // The position in the sequence of the hash at kHistory.
    int minimum = kHistory - 1;
    std::int32_t hashes[kHistory + kPiece + 16];
    std::uint8_t strands[kHistory + kPiece];
};

}  // namespace

template <>
void SketchSequence<kBits>(const SketchCall& call) {
    Sketch(call).Run();
}

}  // namespace qel_minimap2::kernel
