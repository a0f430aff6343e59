#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

/// A call's sequences in scratch memory, the query reversed, so that letters that meet on an anti-diagonal are
/// neighbours in both. Both have padding on each side, because whole registers are read at the ends.
struct PaddedSequences {
    static constexpr int kPadding = 320;  ///< Letters on each side; more than the widest strip.

    std::size_t target_length = 0, query_length = 0;
    std::uint8_t* target = nullptr;
    std::uint8_t* reversed_query = nullptr;
    bool has_only_bases = false;  ///< There is no letter that stands for any base.

    /// Returns false when there is no memory.
    bool Prepare(const AlignmentCall& call) {
        target_length = static_cast<std::size_t>(call.target_length);
        query_length = static_cast<std::size_t>(call.query_length);
        auto* const memory =
            ScratchMemory(Scratch::sequences, target_length + query_length + std::size_t{4} * kPadding);
        if (memory == nullptr) {
            return false;
        }
        target = memory + kPadding;
        reversed_query = target + target_length + std::size_t{2} * kPadding;
        has_only_bases = (Copy(target, call.target, 1, target_length) |
                          Copy(reversed_query, call.query + query_length - 1, -1, query_length)) <= 3;
        return true;
    }

    /// Fills kCount letters on each side of both sequences.
    template <int kCount>
    void Pad(int target_letter, int query_letter) {
        std::memset(target - kCount, target_letter, kCount);
        std::memset(target + target_length, target_letter, kCount);
        std::memset(reversed_query - kCount, query_letter, kCount);
        std::memset(reversed_query + query_length, query_letter, kCount);
    }

    /// The letter that target position 0 meets on anti-diagonal r; position t meets the one t letters later.
    const std::uint8_t* QueryOpposite(int r) const {
        return reversed_query + (static_cast<std::ptrdiff_t>(query_length) - 1 - r);
    }

private:
    // Returns the bitwise OR of the letters.
    static unsigned Copy(std::uint8_t* to, const std::uint8_t* from, std::ptrdiff_t step, std::size_t count) {
        unsigned letters = 0;
        for (std::size_t i = 0; i < count; ++i) {
            to[i] = from[step * static_cast<std::ptrdiff_t>(i)];
            letters |= to[i];
        }
        return letters;
    }
};

}  // namespace
}  // namespace qel_minimap2::kernel
