#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <minimap.h>

namespace qel_minimap2::kernel {

/// Tells quickly of most minimizers that an index does not hold that it does not: most of a noisy read's are of that
/// kind, and a look-up in the index costs several cache misses where this costs one. A set of one bit per hash value,
/// eight times as many as there are minimizers. Any thread once it is made.
class SeedFilter {
public:
    /// Of the minimizers in a loaded index. Throws std::bad_alloc.
    explicit SeedFilter(const mm_idx_t& index);

    /// Makes it the filter of the look-ups in its index; the one installed before is so no more.
    void Install() const;
    /// Ends that, if it is the installed one. No look-up may be going on.
    ~SeedFilter();
    SeedFilter(const SeedFilter&) = delete;
    SeedFilter& operator=(const SeedFilter&) = delete;

    /// The installed filter, or null.
    static const SeedFilter* Installed();

    bool IsOf(const mm_idx_t* other) const { return index == other; }

    /// False only for a minimizer that the index does not hold.
    bool MayHold(std::uint64_t minimizer) const {
        const auto bit = BitOf(minimizer);
        return (bits[bit / 64] >> (bit % 64) & 1U) != 0;
    }

    /// Has the memory that MayHold will look at fetched.
    void Prefetch(std::uint64_t minimizer) const { __builtin_prefetch(&bits[BitOf(minimizer) / 64]); }

private:
    // Each bucket of the index, which a minimizer's lowest bits choose, has a stretch of bits of its own, so that the
    // memory is written in order when the filter is made. In it the higher bits are spread and scaled to its size.
    std::uint64_t BitOf(std::uint64_t minimizer) const {
        const std::uint64_t bucket = minimizer & ((std::uint64_t{1} << bucket_bits) - 1);
        const std::uint64_t spread = (minimizer >> bucket_bits) * 0x9E3779B97F4A7C15U >> 32U;
        return bucket * bits_per_bucket + (spread * bits_per_bucket >> 32U);
    }

    const mm_idx_t* index;
    unsigned bucket_bits;
    std::uint64_t bits_per_bucket;  // Below 2^32.
    std::vector<std::uint64_t> bits;
};

}  // namespace qel_minimap2::kernel
