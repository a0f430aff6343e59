#include "third_party_alignment/qel_minimap2/kernel/seed_filter.h"

#include <algorithm>
#include <atomic>

#include "third_party_alignment/qel_minimap2/index_buckets.h"

namespace qel_minimap2::kernel {

namespace {

constexpr std::uint64_t kBitsPerMinimizer = 8;
constexpr std::uint64_t kMostBits = (std::uint64_t{1} << 32U) - 64;

std::atomic<const SeedFilter*> installed = nullptr;

}  // namespace

SeedFilter::SeedFilter(const mm_idx_t& index) : index(&index) {
    std::uint64_t count = 0;
    ForEachBucket(index, [&](std::uint64_t, const MinimizerTable& table) { count += kh_size(&table); });
    bit_count = std::clamp<std::uint64_t>(count * kBitsPerMinimizer, 64, kMostBits) / 64 * 64;
    bits.resize(bit_count / 64);
    ForEachBucket(index, [&](std::uint64_t bucket, const MinimizerTable& table) {
        for (khint_t slot = 0; slot != kh_end(&table); ++slot) {
            if (kh_exist(&table, slot)) {
                const auto bit = BitOf(kh_key(&table, slot) >> 1U << static_cast<unsigned>(index.b) | bucket);
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
