#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qel_minimap2::kernel {

/// What our functions are counted by. Base alignment is counted by the way that a call went, see avx2_kernel.h.
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

/// Counts one call that our function answered instead of the library's, in the calling thread alone.
void CountOwnCall(OwnFunction function) noexcept;

/// While it lives, the calls of its thread are counted for one read; its end adds them to those of all reads.
class OwnCallsOfRead {
public:
    OwnCallsOfRead() noexcept;
    ~OwnCallsOfRead();
    OwnCallsOfRead(const OwnCallsOfRead&) = delete;
    OwnCallsOfRead& operator=(const OwnCallsOfRead&) = delete;
};

/// The calls that all finished reads of this process made. Any thread.
OwnCallCounts OwnCallsOfAllReads() noexcept;

}  // namespace qel_minimap2::kernel
