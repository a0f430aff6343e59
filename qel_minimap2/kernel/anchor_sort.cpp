#include "qel_minimap2/kernel/anchor_sort.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

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

constexpr std::ptrdiff_t kInserted = 64;    // minimap2 sorts up to this many elements by insertion.
constexpr std::ptrdiff_t kFewAnchors = 12;  // Up to this many are sorted by insertion without any preparation.
constexpr unsigned kPlaceBits = 12;

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

template <typename Element>
void InsertByKey(Element* begin, Element* end) {
    Insert(begin, end, [](const Element& element) { return KeyOf(element); });
}

// Turns keys into short numbers with the same order. The highest bit, which is an anchor's strand, moves to the place
// above the other differing bits. The bits in between, which are the same in all keys, are dropped.
class ShortKeys {
public:
    explicit ShortKeys(std::uint64_t differing) {
        const auto below = differing << 1U >> 1U;
        width = 64U - static_cast<unsigned>(std::countl_zero(below));
        mask = (std::uint64_t{1} << width) - 1;
        fits = width + (differing >> 63U) + kPlaceBits <= 64;
    }

    std::uint64_t Of(std::uint64_t key) const { return (key & mask) | key >> 63U << width; }

    bool fits;  // Whether a short number and a place fit into 64 bits.

private:
    unsigned width;
    std::uint64_t mask;
};

// Sorts a small bin. Equal keys keep their order, because the lowest bits of each number are its element's place.
template <typename Element>
void SortAtOnce(Element* begin, std::size_t count, const ShortKeys& keys) {
    std::uint64_t numbers[2 * kInserted];
    Element sorted[kInserted];
    for (std::size_t i = 0; i < count; ++i) {
        numbers[i] = keys.Of(KeyOf(begin[i])) << kPlaceBits | i;
    }
    SortNumbers(numbers, numbers + kInserted, count, kPlaceBits);
    for (std::size_t i = 0; i < count; ++i) {
        sorted[i] = begin[numbers[i] & (kInserted - 1)];
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
// Each element of the upper bin in the lower bin's part moves to the first open place of the upper bin's part. From
// there on, elements move up by one place each, until one belongs to the lower bin and fills the gap. A strand's bit is
// random, so branches on it would be mispredicted.
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
        if (const ShortKeys keys(differing); keys.fits) {
            SortAtOnce(begin, count, keys);
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
    if (end - begin > 1) {
        SortFrom(begin, end);
    }
}

void SortByUpperHalf(std::uint64_t* begin, std::uint64_t* end) {
    if (end - begin > 1) {
        SortFrom(begin, end);
    }
}

}  // namespace qel_minimap2::kernel
