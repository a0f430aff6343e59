#include "qel_minimap2/index/packed_bases.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <mmpriv.h>

namespace qel_minimap2 {

namespace {

std::uint32_t BaseOf(char letter) {
    return seq_nt4_table[static_cast<unsigned char>(letter)];
}

}  // namespace

void UnpackBases(const std::uint32_t* words, std::uint64_t begin, std::uint64_t end, char* bases) {
    constexpr std::uint32_t kMost = 4;
    const auto unpack_one = [&] { *bases++ = static_cast<char>(std::min(mm_seq4_get(words, begin), kMost)), ++begin; };
    while (begin < end && begin % 8 != 0) {
        unpack_one();
    }
    while (begin + 8 <= end) {
        std::uint64_t spread = words[begin / 8];
        if (ImpossibleCodes(spread) != 0) {
            for (int i = 0; i < 8; ++i) {
                unpack_one();
            }
            continue;
        }
        // Each step splits every part of the word into halves and moves them apart; after three steps, each of the
        // eight codes has its own byte.
        spread = (spread | spread << 16U) & 0x0000FFFF0000FFFFU;
        spread = (spread | spread << 8U) & 0x00FF00FF00FF00FFU;
        spread = (spread | spread << 4U) & 0x0F0F0F0F0F0F0F0FU;
        std::memcpy(bases, &spread, sizeof(spread));
        begin += 8;
        bases += 8;
    }
    while (begin < end) {
        unpack_one();
    }
}

// Uses realloc, because the system moves the pages of a large allocation instead of copying its bytes.
void Resize(PackedWords& words, std::uint64_t count) {
    const auto size = std::max<std::uint64_t>(count, 1) * sizeof(std::uint32_t);
    void* const resized = RequireMemory(std::realloc(words.get(), size));
    static_cast<void>(words.release());
    words.reset(static_cast<std::uint32_t*>(resized));
}

void PackedBases::Append(std::string_view letters) {
    if (const auto needed = (count + letters.size() + 7) / 8; needed > capacity) {
        capacity = std::max(needed, capacity + capacity / 2);
        Resize(words, capacity);
    }
    std::size_t i = 0;
    const auto append_one = [&] {
        auto& word = words[count / 8];
        word = (count % 8 == 0 ? 0 : word) | BaseOf(letters[i++]) << count % 8 * 4;
        ++count;
    };
    while (i < letters.size() && count % 8 != 0) {
        append_one();
    }
    for (; i + 8 <= letters.size(); i += 8, count += 8) {
        std::uint32_t word = 0;
        for (std::size_t j = 0; j < 8; ++j) {
            word |= BaseOf(letters[i + j]) << 4 * j;
        }
        words[count / 8] = word;
    }
    while (i < letters.size()) {
        append_one();
    }
}

}  // namespace qel_minimap2
