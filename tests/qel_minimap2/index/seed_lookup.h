#pragma once

#include <cstdint>

#include "qel_minimap2/index/seed_table.h"

namespace Tests {

/// Returns the positions of a minimizer and sets `count` to their number; null and 0 if the table lacks the minimizer.
inline const std::uint64_t* Find(const qel_minimap2::SeedTable& table, std::uint64_t minimizer, int& count) {
    const auto slot = table.Slot(minimizer);
    std::uint32_t occurrences = 0;
    const auto* const positions =
        slot != qel_minimap2::SeedTable::kNoSlot ? table.AtSlot(minimizer, slot, occurrences) : nullptr;
    count = static_cast<int>(occurrences);
    return positions;
}

}  // namespace Tests
