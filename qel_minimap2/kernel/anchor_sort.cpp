#include "qel_minimap2/kernel/anchor_sort.h"

#include <algorithm>
#include <bit>
#include <utility>

// The library sorts by one byte of the key after the other, the highest first: it exchanges elements in place until
// each lies in its byte's bucket, then does the same in each bucket, and where a bucket has 64 elements or fewer it
// inserts one after the other. What that leaves depends on the keys' bytes alone, so the same comes out when
// - a byte in which all keys agree is left out: there is one bucket, and no exchange;
// - a small bucket is sorted by any method that keeps equal keys in order, as insertion does.
// Equal keys are frequent (a repeat in the read on one in the reference), so larger buckets are exchanged as there.
namespace qel_minimap2::kernel {

namespace {

constexpr std::ptrdiff_t kInserted = 64;    // The library's: at most as many elements are sorted by insertion.
constexpr std::ptrdiff_t kFewAnchors = 12;  // As many are inserted without any preparation.
constexpr unsigned kPlaceBits = 12;

// Up to here numbers are sorted by insertion.
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

// Turns keys into short numbers of the same order. The highest bit, the strand's, moves down to right above the others
// that differ; the bits between, in which all keys agree, are left out.
class ShortKeys {
public:
    explicit ShortKeys(std::uint64_t differing) {
        const auto below = differing << 1U >> 1U;
        width = 64U - static_cast<unsigned>(std::countl_zero(below));
        mask = (std::uint64_t{1} << width) - 1;
        Fits = width + (differing >> 63U) + kPlaceBits <= 64;
    }

    std::uint64_t Of(const mm128_t& anchor) const { return (anchor.x & mask) | anchor.x >> 63U << width; }

    bool Fits;  // Whether such a number and a place fit into 64 bits.

private:
    unsigned width;
    std::uint64_t mask;
};

// Sorts a small bucket and keeps the order of equal keys: each number ends with the place that its anchor came from.
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

struct Bucket {
    mm128_t* next;
    mm128_t* end;
};

// The library's exchanges by the byte at `shift`. The buckets are completed one after the other. The element at the
// first open place of a bucket, if it belongs elsewhere, goes to the first open place of its own bucket; the element
// that lay there is moved next, until one comes that belongs to the bucket itself.
void Exchange(mm128_t* begin, Bucket (&buckets)[256], unsigned shift) {
    auto* end = begin;
    for (auto& bucket : buckets) {
        const auto count = bucket.end - bucket.next;
        bucket.next = end;
        bucket.end = end += count;
    }
    const auto bucket_of = [&](const mm128_t& anchor) { return &buckets[anchor.x >> shift & 255U]; };
    for (auto& bucket : buckets) {
        while (bucket.next != bucket.end) {
            auto moved = *bucket.next;
            for (auto* to = bucket_of(moved); to != &bucket; to = bucket_of(moved)) {
                std::swap(moved, *to->next++);
            }
            *bucket.next++ = moved;
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
        return;  // Insertion and exchanges alike leave equal keys alone.
    }
    if (const auto count = static_cast<std::size_t>(end - begin); count <= kInserted) {
        if (const ShortKeys keys(differing); keys.Fits) {
            SortAtOnce(begin, count, keys);
        } else {
            InsertAnchors(begin, end);
        }
        return;
    }
    const auto shift = (63U - static_cast<unsigned>(std::countl_zero(differing))) / 8 * 8;
    Bucket buckets[256];
    std::fill_n(buckets, 256, Bucket{begin, begin});
    for (const auto* anchor = begin; anchor != end; ++anchor) {
        ++buckets[anchor->x >> shift & 255U].end;
    }
    Exchange(begin, buckets, shift);
    if (shift == 0) {
        return;
    }
    auto* first = begin;
    for (const auto& bucket : buckets) {
        if (bucket.end - first > 1) {
            SortFrom(first, bucket.end);
        }
        first = bucket.end;
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
