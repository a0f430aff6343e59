#include "qel_minimap2/kernel/sketch.h"

#include <cstddef>
#include <cstring>

#include <bseq.h>
#include <kalloc.h>

#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/numbers.h"

namespace qel_minimap2::kernel {

namespace {

// A minimizer is the k-mer with the lowest hash in a window of neighbouring k-mers. The hash of a k-mer is that of the
// lesser of its two strands. minimap2 processes the sequence base by base and stores the latest hashes in a ring
// buffer. Its branches depend on the hashes, so the processor often mispredicts them.
//
// Here a piece of the sequence is hashed first, a register of k-mers at a time. Then the lowest hash of each window is
// computed. Every k-mer that has the lowest hash of one of its windows is a minimizer, even if several k-mers of the
// window have this hash. This is minimap2's rule after a complete window of k-mers without ambiguous bases (Leap). At
// the first bases and after an ambiguous base, minimap2's rule has exceptions, so the minimum is updated base by base
// (Step).
class Sketch {
public:
    explicit Sketch(const SketchCall& call)
        : call(call), window(call.window), k(call.k), mask((1U << (2 * call.k)) - 1) {
        for (int p = 0; p < kHistory; ++p) {
            hashes[p] = kNone;
            codes[p] = kAmbiguous;
        }
    }

    void Run() {
        Reserve(call.minimizers->n + static_cast<std::size_t>(call.length / window));
        for (std::int64_t begin = 0; begin < call.length; begin += kPiece) {
            if (begin > 0) {
                std::memmove(hashes, hashes + kPiece, sizeof *hashes * kHistory);
                std::memmove(is_reverse, is_reverse + kPiece, sizeof *is_reverse * kHistory);
                std::memmove(codes, codes + kPiece, kHistory);
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
    static constexpr int kFour = 4;      // Neighbouring bases, joined into one byte: a four.
    static constexpr int kFours = 4;     // In a k-mer.
    static constexpr int kHistory = 16;  // Hashes before a piece that belong to its windows.
    static constexpr int kPiece = 2048;
    static constexpr int kGroup = 32;                 // Windows that are searched at once.
    static constexpr std::int32_t kNone = INT32_MAX;  // Above all hashes.
    static constexpr std::uint8_t kAmbiguous = 4;     // The codes of bases are 0 to 3.

    // Sets the hashes and strands of the piece's `count` k-mers. The index of a k-mer is that of its last base.
    void Hash(int count) {
        const bool has_ambiguous = !Encode(count);
        JoinFours(kHistory + count);
        // The fours of a k-mer overlap, because k is below 16.
        const int backs[] = {0, Smaller(4, k - kFour), Smaller(8, k - kFour), k - kFour};
        Ints::Shift to_left[kFours], to_right[kFours];
        for (int i = 0; i < kFours; ++i) {
            to_left[i] = Ints::ShiftBy(2 * backs[i]);
            to_right[i] = Ints::ShiftBy(2 * (k - kFour - backs[i]));
        }
        for (int p = kHistory; p < kHistory + count; p += Ints::kWidth) {
            Register forward = Ints::All(0), reverse = forward;
            TAVIK_UNROLL
            for (int i = 0; i < kFours; ++i) {
                forward = Lanes::Or(forward, Ints::ShiftLeft(Ints::Load(fours + p - backs[i]), to_left[i]));
                reverse = Lanes::Or(reverse, Ints::ShiftLeft(Ints::Load(reverse_fours + p - backs[i]), to_right[i]));
            }
            Ints::Store(is_reverse + p, Ints::Greater(forward, reverse));
            Ints::Store(hashes + p, HashOf(Ints::Min(forward, reverse)));
        }
        for (int p = kHistory; p < kHistory + count && (in_row < k || has_ambiguous); ++p) {
            in_row = codes[p] == kAmbiguous ? 0 : in_row + 1;
            hashes[p] = in_row < k ? kNone : hashes[p];
        }
    }

    // Sets the codes of the piece's `count` letters. Returns false if some are ambiguous.
    bool Encode(int count) {
        const char* const letters = call.bases + piece_begin;
        std::uint8_t* const out = codes + kHistory;
        // For each value of a letter's four lowest bits, the base with these bits and its code. For a value without a
        // base, the entry is A, which equals no letter with these bits.
        const Register known = Lanes::LoadSixteen("AAACTUAGAAAAAAAA");
        const Register codes_of_known = Lanes::LoadSixteen("\0\0\0\1\3\3\0\2\0\0\0\0\0\0\0");
        Register are_known = Lanes::All(-1);
        int p = 0;
        for (; p + Lanes::kWidth <= count; p += Lanes::kWidth) {
            const Register upper_case = Lanes::And(Lanes::Load(letters + p), Lanes::All(~0x20));
            const Register low = Lanes::And(upper_case, Lanes::All(15));
            are_known = Lanes::And(are_known, Lanes::Equal(upper_case, Lanes::LookUp(known, low)));
            Lanes::Store(out + p, Lanes::LookUp(codes_of_known, low));
        }
        const bool all_are_known = Ints::MaskOf(Ints::Equal(are_known, Ints::All(-1))) == Ints::kAll;
        bool has_ambiguous = false;
        for (p = all_are_known ? p : 0; p < count; ++p) {
            out[p] = seq_nt4_table[static_cast<std::uint8_t>(letters[p])];
            has_ambiguous |= out[p] == kAmbiguous;
        }
        return !has_ambiguous;
    }

    // Joins the codes of every four neighbouring bases before `end` into one byte for each strand. The index of the
    // byte is that of the last base.
    void JoinFours(int end) {
        const auto join = [](Register a, Register b, Register c, Register d) __attribute__((always_inline)) {
            return Lanes::Or(Lanes::Or(a, Ints::ShiftLeft<2>(b)),
                             Lanes::Or(Ints::ShiftLeft<4>(c), Ints::ShiftLeft<6>(d)));
        };
        for (int p = kHistory - kFour * (kFours - 1); p < end; p += Lanes::kWidth) {
            Register code[kFour];
            for (int i = 0; i < kFour; ++i) {
                code[i] = Lanes::And(Lanes::Load(codes + p - i), Lanes::All(3));
            }
            Lanes::Store(fours + p, join(code[0], code[1], code[2], code[3]));
            Lanes::Store(reverse_fours + p, Lanes::Xor(join(code[3], code[2], code[1], code[0]), Lanes::All(-1)));
        }
    }

    // Computes minimap2's invertible hash of 2k bits. 32 bits are enough, because the hash masks off all higher bits.
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
            if (codes[p] == kAmbiguous || known < window + k - 1) {
                Step(p++);
                continue;
            }
            const void* const next = std::memchr(codes + p, kAmbiguous, static_cast<std::size_t>(end - p));
            const int run_end =
                next != nullptr ? static_cast<int>(static_cast<const std::uint8_t*>(next) - codes) : end;
            Leap(p, run_end);
            known += run_end - p;
            p = run_end;
        }
    }

    // Applies minimap2's rule to one k-mer.
    void Step(int p) {
        known = codes[p] == kAmbiguous ? 0 : known + 1;
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

    // Applies minimap2's rule to the k-mers from p up to, not including, `end`. The windows that end at these k-mers
    // are complete and without ambiguous bases. The next minimum is the first k-mer after the current minimum whose
    // hash is the lowest of one of these windows.
    void Leap(int p, int end) {
        // Sets `lowest` to the lowest hash of the window that ends at each k-mer, or to -1 if none of these windows
        // ends there.
        for (int i = minimum + 1; i < p; ++i) {
            lowest[i] = -1;
        }
        for (int i = p; i < end; i += kGroup) {
            const auto least = BestOf<Ints::Min>(hashes + i, -1);
            for (int at = 0; at < kGroup; at += Ints::kWidth) {
                Ints::Store(lowest + i + at, least.parts[at / Ints::kWidth]);
            }
        }
        for (int i = 0; i < kMostInWindow + kGroup; i += Ints::kWidth) {
            Ints::Store(lowest + end + i, Ints::All(-1));
        }
        for (int i = minimum + 1; i < end; i += kGroup) {
            const auto highest = BestOf<Ints::Max>(lowest + i, 1);
            std::uint32_t found = 0;
            for (int at = 0; at < kGroup; at += Ints::kWidth) {
                const Register is_minimizer =
                    Ints::Equal(highest.parts[at / Ints::kWidth], Ints::Load(hashes + i + at));
                found |= Ints::MaskOf(is_minimizer) << at;
            }
            for (found &= end - i < kGroup ? (1U << (end - i)) - 1 : ~0U; found != 0; found &= found - 1) {
                Push(minimum);
                minimum = i + __builtin_ctz(found);
            }
        }
    }

    struct Group {
        Register parts[kGroup / Ints::kWidth];
    };

    // For each of kGroup neighbouring numbers, returns the best of `window` numbers: the number itself and those at the
    // distances `step`, 2 * `step` and so on.
    template <Register (*kBetter)(Register, Register)>
    TAVIK_INLINE Group BestOf(const std::int32_t* from, int step) const {
        Group best;
        TAVIK_UNROLL
        for (int at = 0; at < kGroup; at += Ints::kWidth) {
            best.parts[at / Ints::kWidth] = Ints::Load(from + at);
        }
        for (int j = 1; j < window; ++j) {
            from += step;
            TAVIK_UNROLL
            for (int at = 0; at < kGroup; at += Ints::kWidth) {
                auto& part = best.parts[at / Ints::kWidth];
                part = kBetter(part, Ints::Load(from + at));
            }
        }
        return best;
    }

    // Replaces the minimum, which is before the window that ends at p, with the last k-mer that has the lowest hash of
    // that window.
    void Renew(int p, bool is_whole) {
        if (is_whole && MinimumHash() != kNone) {
            Push(minimum);
        }
        const int first = p - window + 1;
        const std::int32_t hash = LowestInWindow(first);
        const unsigned equal = EqualInWindow(first, window, hash);
        minimum = first + 31 - __builtin_clz(equal);
        if (is_whole && hash != kNone) {
            PushOthers(equal, first);
        }
    }

    std::int32_t MinimumHash() const { return hashes[minimum]; }

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
        list.a[list.n++] = {
            static_cast<std::uint64_t>(hashes[p]) << 8U | static_cast<unsigned>(k),
            static_cast<std::uint64_t>(call.sequence) << 32U | position << 1U | (is_reverse[p] != 0 ? 1U : 0U)};
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
    int in_row = 0;       // Bases since the last ambiguous one, at the end of the latest piece; exact only below k.
    int known = 0;        // Bases since the last ambiguous one, at the k-mer processed last by Step or Leap.
    int piece_begin = 0;  // The 0-based position in the sequence of the base at kHistory.
    int minimum = kHistory - 1;
    // Includes room for complete registers after the last k-mer.
    static constexpr int kRoom = kHistory + kPiece + kMostInWindow + 2 * kGroup;
    std::int32_t hashes[kRoom];
    std::int32_t is_reverse[kRoom];  // -1 if the k-mer's lesser strand is the reverse one, otherwise 0.
    std::int32_t lowest[kRoom];
    std::uint8_t codes[kRoom], fours[kRoom], reverse_fours[kRoom];
};

}  // namespace

template <>
void SketchSequence<kBits>(const SketchCall& call) {
    Sketch(call).Run();
}

}  // namespace qel_minimap2::kernel
