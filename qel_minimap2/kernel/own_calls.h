#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qel_minimap2::kernel {

/// The functions whose calls are counted. `general_kernel` includes short extensions.
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

/// One count for each OwnFunction, in the order of that enumeration.
using OwnCallCounts = std::array<std::uint64_t, static_cast<std::size_t>(OwnFunction::joining) + 1>;

/// Counts one call that this library answered instead of minimap2, for the current read of the calling thread.
void CountOwnCall(OwnFunction function) noexcept;

/// Starts to count the calls of its thread for one read. Its destructor adds the counts to the totals.
class OwnCallsOfRead {
public:
    OwnCallsOfRead() noexcept;
    ~OwnCallsOfRead();
    OwnCallsOfRead(const OwnCallsOfRead&) = delete;
    OwnCallsOfRead& operator=(const OwnCallsOfRead&) = delete;
};

/// Returns the totals of all finished reads of this process. Any thread.
OwnCallCounts OwnCallsOfAllReads() noexcept;

}  // namespace qel_minimap2::kernel
