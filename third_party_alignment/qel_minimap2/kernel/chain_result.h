#pragma once

#include <cstdint>

#include "third_party_alignment/qel_minimap2/kernel/chaining.h"

namespace qel_minimap2::kernel {

/// What is known of each anchor once all are scored, `count` entries each.
struct ChainedAnchors {
    std::int64_t* previous;  ///< The one before it in the best chain that ends here, or -1.
    std::int32_t* scores;    ///< Of that chain.
    std::int32_t* peaks;     ///< The highest score along it.
    std::int32_t* marks;     ///< Room.
};

/// Traces the chains back and puts their anchors in order, in the place of all anchors.
void TakeChains(const ChainScoring& scoring, const ChainedAnchors& scored, Chains& chains);

}  // namespace qel_minimap2::kernel
