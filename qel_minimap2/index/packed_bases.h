#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "qel_minimap2/malloc_memory.h"

namespace qel_minimap2 {

/// Unpacks the bases from `begin` up to, not including, `end` (0-based; none if `end` is not above `begin`), each to a
/// byte with a number from 0 to 4, whatever the words are: those of a mapped file may change. `words` as PackedBases
/// describes them. Any thread.
void UnpackBases(const std::uint32_t* words, std::uint64_t begin, std::uint64_t end, char* bases);

/// Not 0 if one of the packed codes is above 4, which no base has. minimap2 indexes its scoring matrix with the codes.
constexpr std::uint64_t ImpossibleCodes(std::uint64_t codes) {
    return (codes & 0x8888888888888888U) | ((codes >> 2U) & (codes | codes >> 1U) & 0x1111111111111111U);
}

/// Packed bases, malloc'ed, because minimap2 frees those of an index.
using PackedWords = std::unique_ptr<std::uint32_t[], Free>;

/// Changes the number of words and keeps their content. Throws std::bad_alloc.
void Resize(PackedWords& words, std::uint64_t count);

/// Bases as an index packs them: four bits each (0 to 3: A, C, G, T or U; 4: any other letter), the first in the lowest
/// bits of words of 4 bytes. Lower-case letters count as upper-case ones.
class PackedBases {
public:
    /// Appends the bases of these letters. Throws std::bad_alloc.
    void Append(std::string_view letters);
    std::uint64_t Count() const { return count; }
    /// The bases so far; valid until more are added.
    const std::uint32_t* Words() const { return words.get(); }
    /// Hands over the words. No other function may be called afterwards.
    PackedWords Take() { return std::move(words); }

private:
    PackedWords words;
    std::uint64_t capacity = 0;  // In words.
    std::uint64_t count = 0;
};

}  // namespace qel_minimap2
