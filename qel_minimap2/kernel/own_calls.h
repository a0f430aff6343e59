#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qel_minimap2::kernel {

/// The functions of this library that are counted. Of base alignment, `general_kernel` counts the short
/// extensions too.
enum class OwnFunction {
    certified_band,
    checkpointed_sweep,
    general_kernel,
    sketch,
    seed_collection,
    anchor_sort,
    chaining,
    joining,
};

/// Entry n belongs to the n-th OwnFunction.
using OwnCallCounts = std::array<std::uint64_t, static_cast<std::size_t>(OwnFunction::joining) + 1>;

/// Counts one call that this library answered instead of minimap2, in the calling thread only.
void CountOwnCall(OwnFunction function) noexcept;

/// Counts the calls of its thread for one read; its destructor adds them to the totals.
class OwnCallsOfRead {
public:
    OwnCallsOfRead() noexcept;
    ~OwnCallsOfRead();
    OwnCallsOfRead(const OwnCallsOfRead&) = delete;
    OwnCallsOfRead& operator=(const OwnCallsOfRead&) = delete;
};

/// The totals of all finished reads of this process. Any thread.
OwnCallCounts OwnCallsOfAllReads() noexcept;

}  // namespace qel_minimap2::kernel
