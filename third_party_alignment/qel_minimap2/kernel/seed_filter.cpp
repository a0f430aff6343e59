#include "third_party_alignment/qel_minimap2/kernel/seed_filter.h"

#include <algorithm>
#include <atomic>

#include "third_party_alignment/qel_minimap2/index_buckets.h"

namespace qel_minimap2::kernel {

namespace {

constexpr std::uint64_t kBitsPerMinimizer = 8;
constexpr std::uint64_t kMostWords = (std::uint64_t{1} << 26U) - 1;

std::atomic<const SeedFilter*> installed = nullptr;

}  // namespace

SeedFilter::SeedFilter(const mm_idx_t& index) : index(&index), bucket_bits(static_cast<unsigned>(index.b)) {
    std::uint64_t count = 0;
    ForEachBucket(index, [&](std::uint64_t, const MinimizerTable& table) { count += kh_size(&table); });
    // Whole words; the minimizers' hashes fill the buckets alike.
    const std::uint64_t words = std::min((count * kBitsPerMinimizer >> bucket_bits) / 64 + 1, kMostWords);
    bits_per_bucket = words * 64;
    bits.resize(words << bucket_bits);
    ForEachBucket(index, [&](std::uint64_t bucket, const MinimizerTable& table) {
        for (khint_t slot = 0; slot != kh_end(&table); ++slot) {
            if (kh_exist(&table, slot)) {
                const auto bit = BitOf(kh_key(&table, slot) >> 1U << bucket_bits | bucket);
                bits[bit / 64] |= std::uint64_t{1} << (bit % 64);
            }
        }
    });
}

SeedFilter::~SeedFilter() {
    const SeedFilter* self = this;
    installed.compare_exchange_strong(self, nullptr);
}

void SeedFilter::Install() const {
    installed.store(this, std::memory_order_release);
}

const SeedFilter* SeedFilter::Installed() {
    return installed.load(std::memory_order_acquire);
}

}  // namespace qel_minimap2::kernel
