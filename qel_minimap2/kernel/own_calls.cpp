#include "qel_minimap2/kernel/own_calls.h"

#include <atomic>

namespace qel_minimap2::kernel {

namespace {

// Each thread adds its counts to the shared totals only at the end of a read.
constinit thread_local OwnCallCounts of_this_read{};
// The totals are in one cache line, so a thread fetches all of them at once.
alignas(64) constinit std::array<std::atomic<std::uint64_t>, OwnCallCounts{}.size()> of_all_reads{};

}  // namespace

void CountOwnCall(OwnFunction function) noexcept {
    ++of_this_read[static_cast<std::size_t>(function)];
}

OwnCallsOfRead::OwnCallsOfRead() noexcept {
    of_this_read = {};
}

OwnCallsOfRead::~OwnCallsOfRead() {
    for (std::size_t i = 0; i < of_all_reads.size(); ++i) {
        if (of_this_read[i] != 0) {
            of_all_reads[i].fetch_add(of_this_read[i], std::memory_order_relaxed);
        }
    }
}

OwnCallCounts OwnCallsOfAllReads() noexcept {
    OwnCallCounts counts{};
    for (std::size_t i = 0; i < counts.size(); ++i) {
        counts[i] = of_all_reads[i].load(std::memory_order_relaxed);
    }
    return counts;
}

}  // namespace qel_minimap2::kernel
