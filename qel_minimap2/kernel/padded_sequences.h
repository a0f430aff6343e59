#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

/// Copies of a call's sequences in scratch memory. The query is reversed, so neighbouring cells of a row have
/// neighbouring letters in both sequences. Both sequences have padding on each side, because strips reach beyond their
/// ends.
struct PaddedSequences {
    static constexpr int kPadding = 320;  ///< Letters on each side: more than the lanes of the widest strip.

    std::size_t target_length = 0, query_length = 0;
    std::uint8_t* target = nullptr;
    std::uint8_t* reversed_query = nullptr;
    bool has_only_bases = false;  ///< Neither sequence has the letter that means any base.

    /// Returns false if there is no memory. The padding is not initialised.
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

    /// Sets kCount letters of padding on each side of both sequences.
    template <int kCount>
    void Pad(int target_letter, int query_letter) {
        std::memset(target - kCount, target_letter, kCount);
        std::memset(target + target_length, target_letter, kCount);
        std::memset(reversed_query - kCount, query_letter, kCount);
        std::memset(reversed_query + query_length, query_letter, kCount);
    }

    /// Returns a pointer to the query letter that shares a cell with target position 0 in row r. The query letter for
    /// target position t is t letters after it.
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
