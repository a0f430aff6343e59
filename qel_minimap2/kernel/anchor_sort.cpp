#include "qel_minimap2/kernel/anchor_sort.h"

#include <algorithm>
#include <bit>
#include <utility>

// minimap2 sorts by one byte of the key after the other, the highest first. It exchanges elements in place until each
// lies in its byte's bin, then does the same in each bin; a bin of 64 elements or fewer is sorted by insertion. The
// result depends on the keys' bytes only, so it stays the same when
// - a byte in which all keys agree is skipped: there is one bin, and no exchange;
// - a small bin is sorted by any stable method, as insertion is.
// Equal keys are frequent (a repeat in the read on one in the reference), so larger bins are exchanged as in minimap2.
namespace qel_minimap2::kernel {

namespace {

constexpr std::ptrdiff_t kInserted = 64;    // minimap2 sorts up to this many elements by insertion.
constexpr std::ptrdiff_t kFewAnchors = 12;  // Up to this many are inserted without any preparation.
constexpr unsigned kPlaceBits = 12;

// Up to this many numbers are sorted by insertion.
constexpr std::size_t kFew = 24;

// Keeps equal keys in order.
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

void InsertAnchors(mm128_t* begin, mm128_t* end) {
    Insert(begin, end, [](const mm128_t& anchor) { return anchor.x; });
}

// Turns keys into short numbers of the same order. The highest bit, the strand's, moves down to right above the other
// bits that differ; the bits between, in which all keys agree, are dropped.
class ShortKeys {
public:
    explicit ShortKeys(std::uint64_t differing) {
        const auto below = differing << 1U >> 1U;
        width = 64U - static_cast<unsigned>(std::countl_zero(below));
        mask = (std::uint64_t{1} << width) - 1;
        fits = width + (differing >> 63U) + kPlaceBits <= 64;
    }

    std::uint64_t Of(const mm128_t& anchor) const { return (anchor.x & mask) | anchor.x >> 63U << width; }

    bool fits;  // Whether such a number and a place fit into 64 bits.

private:
    unsigned width;
    std::uint64_t mask;
};

// Sorts a small bin and keeps the order of equal keys: the lowest bits of each number hold its anchor's place.
void SortAtOnce(mm128_t* begin, std::size_t count, const ShortKeys& keys) {
    std::uint64_t numbers[2 * kInserted];
    mm128_t sorted[kInserted];
    for (std::size_t i = 0; i < count; ++i) {
        numbers[i] = keys.Of(begin[i]) << kPlaceBits | i;
    }
    SortNumbers(numbers, numbers + kInserted, count, kPlaceBits);
    for (std::size_t i = 0; i < count; ++i) {
        sorted[i] = begin[numbers[i] & (kInserted - 1)];
    }
    std::copy_n(sorted, count, begin);
}

struct Bin {
    mm128_t* next;
    mm128_t* end;
};

// minimap2's exchanges by the byte at `shift`. The bins are completed one after the other. The element at the first
// open place of a bin, if it belongs elsewhere, goes to the first open place of its own bin; the element that lay there
// is moved next, until one comes that belongs to the bin itself.
void Exchange(mm128_t* begin, Bin (&bins)[256], unsigned shift) {
    auto* end = begin;
    for (auto& bin : bins) {
        const auto count = bin.end - bin.next;
        bin.next = end;
        bin.end = end += count;
    }
    const auto bin_of = [&](const mm128_t& anchor) { return &bins[anchor.x >> shift & 255U]; };
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

// The bits in which the keys differ.
std::uint64_t DifferingBits(const mm128_t* begin, const mm128_t* end) {
    std::uint64_t bits = 0;
    for (const auto* anchor = begin; anchor != end; ++anchor) {
        bits |= anchor->x ^ begin->x;
    }
    return bits;
}

void SortFrom(mm128_t* begin, mm128_t* end) {
    if (end - begin <= kFewAnchors) {
        InsertAnchors(begin, end);
        return;
    }
    const auto differing = DifferingBits(begin, end);
    if (differing == 0) {
        return;  // Neither insertion nor exchanges move equal keys.
    }
    if (const auto count = static_cast<std::size_t>(end - begin); count <= kInserted) {
        if (const ShortKeys keys(differing); keys.fits) {
            SortAtOnce(begin, count, keys);
        } else {
            InsertAnchors(begin, end);
        }
        return;
    }
    const auto shift = (63U - static_cast<unsigned>(std::countl_zero(differing))) / 8 * 8;
    Bin bins[256];
    std::fill_n(bins, 256, Bin{begin, begin});
    for (const auto* anchor = begin; anchor != end; ++anchor) {
        ++bins[anchor->x >> shift & 255U].end;
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

}  // namespace qel_minimap2::kernel
