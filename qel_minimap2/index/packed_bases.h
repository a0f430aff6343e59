#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "qel_minimap2/malloc_memory.h"

namespace qel_minimap2 {

/// Unpacks the bases from `begin` up to, not including, `end` (0-based; none if `end` is not above `begin`). `words`
/// are packed as PackedBases describes. Each base becomes a byte from 0 to 4. A code above 4, as in a mapped file that
/// has changed, becomes 4. Any thread.
void UnpackBases(const std::uint32_t* words, std::uint64_t begin, std::uint64_t end, char* bases);

/// Returns 0 if and only if no packed code is above 4, the highest code of a base. minimap2 indexes its scoring matrix
/// with the codes, so a higher code would make it read outside the matrix.
constexpr std::uint64_t ImpossibleCodes(std::uint64_t codes) {
    return (codes & 0x8888888888888888U) | ((codes >> 2U) & (codes | codes >> 1U) & 0x1111111111111111U);
}

/// Packed bases. They are malloc'ed, because minimap2 frees the bases of an index.
using PackedWords = std::unique_ptr<std::uint32_t[], Free>;

/// Changes the number of words and keeps the content of those that remain. New words are not initialised. Throws
/// std::bad_alloc.
void Resize(PackedWords& words, std::uint64_t count);

/// Bases packed as in an index: eight in each word of 4 bytes, the first in the lowest bits. The code of a base is 0
/// for A, 1 for C, 2 for G, 3 for T or U, and 4 for any other letter. Letters may be in upper or lower case.
class PackedBases {
public:
    /// Appends the bases of these letters. Throws std::bad_alloc.
    void Append(std::string_view letters);
    std::uint64_t Count() const { return count; }
    /// The bases appended so far. The pointer is valid until the next call to Append.
    const std::uint32_t* Words() const { return words.get(); }
    /// Hands over the words. No other function may be called afterwards.
    PackedWords Take() { return std::move(words); }

private:
    PackedWords words;
    std::uint64_t capacity = 0;  // In words.
    std::uint64_t count = 0;
};

}  // namespace qel_minimap2
