#include "qel_minimap2/kernel/anchor_sort.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>
#include <utility>

#include "qel_minimap2/kernel/scratch.h"

// minimap2 sorts by the bytes of the key, from the highest to the lowest. It exchanges elements in place until each is
// in its byte's bin, and then sorts each bin by the next byte. It sorts bins of up to 64 elements by insertion. The
// result depends only on the keys and their order. It therefore stays the same if
// - a byte that is the same in all keys is skipped: all elements share its bin, so none is exchanged;
// - a small bin is sorted by another stable method, because insertion sort is stable.
//
// Exchanges change the order of equal keys, which are frequent: a k-mer that the read repeats has anchors at the same
// reference positions each time. Larger bins are therefore sorted with exactly minimap2's exchanges.
namespace qel_minimap2::kernel {

namespace {

constexpr unsigned kInsertedBits = 6;
constexpr std::ptrdiff_t kInserted = 1 << kInsertedBits;  // minimap2 sorts up to this many elements by insertion.
constexpr std::ptrdiff_t kFewAnchors = 4;  // Up to this many are sorted by insertion without any preparation.

// Up to this many numbers are sorted by insertion.
constexpr std::size_t kFew = 24;

// A stable insertion sort.
template <typename Element, typename Key>
void Insert(Element* begin, Element* end, const Key& key) {
    for (auto* i = begin + 1; i < end; ++i) {
        const auto element = *i;
        auto* at = i;
        for (; at > begin && key(element) < key(at[-1]); --at) {
            *at = at[-1];
        }
        *at = element;
    }
}

std::uint64_t KeyOf(const mm128_t& anchor) {
    return anchor.x;
}
std::uint64_t KeyOf(std::uint64_t number) {
    return number >> 32U;
}

// The strand of an anchor, the lowest 47 bits of its x, and the place where it was before sorting.
struct PackedAnchor {
    static constexpr unsigned kPlaceBits = 16, kStrandBit = 63 - kPlaceBits;
    static constexpr std::ptrdiff_t kMost = std::ptrdiff_t{1} << kPlaceBits;

    std::size_t Place() const { return number & (kMost - 1); }

    std::uint64_t number;
};
std::uint64_t KeyOf(const PackedAnchor& anchor) {
    return anchor.number >> PackedAnchor::kPlaceBits;
}

template <typename Element>
void InsertByKey(Element* begin, Element* end) {
    Insert(begin, end, [](const Element& element) { return KeyOf(element); });
}

// Turns keys into short numbers with the same order. The highest bit, which is an anchor's strand, moves to the place
// above the other differing bits. The bits in between, which are the same in all keys, are dropped.
class ShortKeys {
public:
    explicit ShortKeys(std::uint64_t differing) : strand(differing >> 63U << 63U) {
        const auto below = differing << 1U >> 1U;
        width = 64U - static_cast<unsigned>(std::countl_zero(below));
        mask = (std::uint64_t{1} << width) - 1;
        bits = width + static_cast<unsigned>(differing >> 63U);
    }

    std::uint64_t Of(std::uint64_t key) const { return (key & mask) | (key & strand) >> (63U - width); }

    unsigned bits;  // Of a short number.

private:
    unsigned width;
    std::uint64_t mask;
    const std::uint64_t strand;  // The highest bit, if it differs.
};

// Sorts a small bin. An element is compared as a number: its short key, followed by its old place, so that equal keys
// keep their order. The new place of an element is the count of numbers less than its own, so no branch depends on the
// keys. The numbers must fit into `Number`, which is signed.
template <typename Number, typename Element>
void SortByCounting(Element* begin, std::size_t count, const ShortKeys& keys) {
    typedef Number Lanes __attribute__((vector_size(16)));  // NOLINT(modernize-use-using): GCC ignores it in `using`.
    constexpr std::size_t kLanes = sizeof(Lanes) / sizeof(Number), kRegisters = 4;
    Number numbers[kInserted] = {};
    Number places[kInserted];
    for (std::size_t i = 0; i < count; ++i) {
        numbers[i] = static_cast<Number>(keys.Of(KeyOf(begin[i])) << kInsertedBits | i);
    }
    for (std::size_t first = 0; first < count; first += kLanes * kRegisters) {
        Lanes own[kRegisters], less[kRegisters] = {};
        std::memcpy(own, numbers + first, sizeof own);
        for (std::size_t i = 0; i < count; ++i) {
            const Lanes other = numbers[i] - Lanes{};
            for (std::size_t k = 0; k < kRegisters; ++k) {
                less[k] -= other < own[k];
            }
        }
        std::memcpy(places + first, less, sizeof less);
    }
    Element sorted[kInserted];
    for (std::size_t i = 0; i < count; ++i) {
        sorted[places[i]] = begin[i];
    }
    std::copy_n(sorted, count, begin);
}

template <typename Element>
struct Bin {
    Element* next;
    Element* end;
};

// Makes minimap2's exchanges by the byte at `shift`. They complete one bin after the other. If the element at the first
// open place of a bin belongs elsewhere, it goes to the first open place of its own bin, and the element that was there
// is moved next. These moves end when an element belongs to the bin where they began.
template <typename Element>
void Exchange(Element* begin, Bin<Element> (&bins)[256], unsigned shift) {
    auto* end = begin;
    for (auto& bin : bins) {
        const auto count = bin.end - bin.next;
        bin.next = end;
        bin.end = end += count;
    }
    const auto bin_of = [&](const Element& element) { return &bins[KeyOf(element) >> shift & 255U]; };
    for (auto& bin : bins) {
        while (bin.next != bin.end) {
            auto moved = *bin.next;
            for (auto* to = bin_of(moved); to != &bin; to = bin_of(moved)) {
                std::swap(moved, *to->next++);
            }
            *bin.next++ = moved;
        }
    }
}

// Does the same as Exchange for two bins: only the bit at `bit` differs in the byte. Returns the start of the upper
// bin.
//
// An element that belongs to the upper bin but lies in the lower bin's part moves to the first open place of the upper
// bin's part. From there on, elements move up by one place each, until one belongs to the lower bin and fills the gap.
// A strand's bit is random, so branches on it would be mispredicted.
template <typename Element>
Element* ExchangeTwo(Element* begin, Element* end, unsigned bit) {
    constexpr std::size_t kMost = 256;
    const auto is_upper = [&](const Element& element) { return KeyOf(element) >> bit & 1U; };
    auto* const middle = end - std::accumulate(begin, end, std::ptrdiff_t{0}, [&](auto count, const Element& element) {
                             return count + static_cast<std::ptrdiff_t>(is_upper(element));
                         });
    auto* next = middle;
    for (auto* at = begin; at != middle;) {
        Element* gaps[kMost + 1];
        std::size_t count = 0;
        for (; at != middle && count < kMost; ++at) {
            gaps[count] = at;
            count += is_upper(*at);
        }
        gaps[count] = begin;  // Read after the last gap is filled.
        auto moved = *gaps[0];
        for (std::size_t filled = 0; filled < count;) {
            const auto other = *next;
            *next++ = moved;
            *gaps[filled] = other;  // If `other` moves on, the next element overwrites it here.
            filled += is_upper(other) ^ 1U;
            const Element follows[] = {*gaps[filled], other};
            moved = follows[is_upper(other)];
        }
    }
    return middle;
}

template <typename Element>
std::uint64_t DifferingBits(const Element* begin, const Element* end) {
    std::uint64_t bits = 0;
    for (const auto* element = begin; element != end; ++element) {
        bits |= KeyOf(*element) ^ KeyOf(*begin);
    }
    return bits;
}

template <typename Element>
void SortFrom(Element* begin, Element* end) {
    if (end - begin <= kFewAnchors) {
        InsertByKey(begin, end);
        return;
    }
    const auto differing = DifferingBits(begin, end);
    if (differing == 0) {
        return;  // If all keys are equal, minimap2 moves no element.
    }
    if (const auto count = static_cast<std::size_t>(end - begin); count <= kInserted) {
        if (const ShortKeys keys(differing); keys.bits + kInsertedBits < 32) {
            SortByCounting<std::int32_t>(begin, count, keys);
        } else if (keys.bits + kInsertedBits < 64) {
            SortByCounting<std::int64_t>(begin, count, keys);
        } else {
            InsertByKey(begin, end);
        }
        return;
    }
    const auto shift = (63U - static_cast<unsigned>(std::countl_zero(differing))) / 8 * 8;
    if (const auto byte = differing >> shift & 255U; std::has_single_bit(byte)) {
        auto* const middle = ExchangeTwo(begin, end, shift + static_cast<unsigned>(std::countr_zero(byte)));
        SortFrom(begin, middle);
        SortFrom(middle, end);
        return;
    }
    Bin<Element> bins[256];
    std::fill_n(bins, 256, Bin<Element>{begin, begin});
    for (const auto* element = begin; element != end; ++element) {
        ++bins[KeyOf(*element) >> shift & 255U].end;
    }
    Exchange(begin, bins, shift);
    if (shift == 0) {
        return;
    }
    auto* first = begin;
    for (const auto& bin : bins) {
        if (bin.end - first > 1) {
            SortFrom(first, bin.end);
        }
        first = bin.end;
    }
}

// Sorts short descriptions of the anchors, which need half the memory, and then moves each anchor once. Returns false
// and leaves the anchors as they are if there are few or very many of them, if they differ in bits that a description
// does not have, or if there is no memory.
bool SortPacked(mm128_t* begin, mm128_t* end) {
    if (end - begin <= kInserted || end - begin > PackedAnchor::kMost) {
        return false;
    }
    const auto count = static_cast<std::size_t>(end - begin);
    const auto differing = DifferingBits(begin, end);
    constexpr auto kMask = (std::uint64_t{1} << PackedAnchor::kStrandBit) - 1;
    if ((differing & ~kMask) << 1U != 0) {
        return false;
    }
    auto* const memory = ScratchMemory(Scratch::sorting, count * (sizeof(mm128_t) + sizeof(PackedAnchor)));
    if (memory == nullptr) {
        return false;
    }
    auto* const sorted = reinterpret_cast<mm128_t*>(memory);
    auto* const packed = reinterpret_cast<PackedAnchor*>(sorted + count);
    for (std::size_t i = 0; i < count; ++i) {
        packed[i].number = begin[i].x >> 63U << 63U | (begin[i].x & kMask) << PackedAnchor::kPlaceBits | i;
    }
    // The strand's byte has no other differing bit, so minimap2 sorts by the strand first.
    auto* const middle = differing >> 63U != 0 ? ExchangeTwo(packed, packed + count, PackedAnchor::kStrandBit) : packed;
    SortFrom(packed, middle);
    SortFrom(middle, packed + count);
    for (std::size_t i = 0; i < count; ++i) {
        sorted[i] = begin[packed[i].Place()];
    }
    std::copy_n(sorted, count, begin);
    return true;
}

}  // namespace

void SortNumbers(std::uint64_t* numbers, std::uint64_t* other, std::size_t count, unsigned sorted_bits) {
    if (count <= kFew) {
        Insert(numbers, numbers + count, [](std::uint64_t number) { return number; });
        return;
    }
    std::uint64_t differing = 0;
    for (std::size_t i = 0; i < count; ++i) {
        differing |= numbers[i] ^ numbers[0];
    }
    auto* from = numbers;
    for (unsigned shift = sorted_bits; shift < 64 && differing >> shift != 0; shift += 8) {
        if ((differing >> shift & 255U) == 0) {
            continue;
        }
        std::uint32_t places[256] = {};
        for (std::size_t i = 0; i < count; ++i) {
            ++places[from[i] >> shift & 255U];
        }
        std::uint32_t place = 0;
        for (auto& next : places) {
            place += std::exchange(next, place);
        }
        for (std::size_t i = 0; i < count; ++i) {
            other[places[from[i] >> shift & 255U]++] = from[i];
        }
        std::swap(from, other);
    }
    if (from != numbers) {
        std::copy_n(from, count, numbers);
    }
}

void SortAnchors(mm128_t* begin, mm128_t* end) {
    if (end - begin > 1 && !SortPacked(begin, end)) {
        SortFrom(begin, end);
    }
}

void SortByUpperHalf(std::uint64_t* begin, std::uint64_t* end) {
    if (end - begin > 1) {
        SortFrom(begin, end);
    }
}

}  // namespace qel_minimap2::kernel
