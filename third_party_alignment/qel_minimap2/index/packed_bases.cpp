#include "third_party_alignment/qel_minimap2/index/packed_bases.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include <mmpriv.h>

namespace qel_minimap2 {

namespace {

std::uint32_t BaseOf(char letter) {
    return seq_nt4_table[static_cast<unsigned char>(letter)];
}

// The two bases of a byte of packed ones.
using Pair = std::array<char, 2>;
std::array<Pair, 256> MakePairs() {
    std::array<Pair, 256> pairs{};
    for (unsigned byte = 0; byte < pairs.size(); ++byte) {
        pairs[byte] = {static_cast<char>(byte & 0xfU), static_cast<char>(byte >> 4U)};
    }
    return pairs;
}

}  // namespace

// Grown memory is moved by the system page by page, not copied, and costs nothing before it is written to.
void PackedBases::Reserve(std::uint64_t word_count) {
    if (word_count <= capacity) {
        return;
    }
    capacity = std::max(word_count, capacity + capacity / 2);
    void* const grown = std::realloc(words.get(), capacity * sizeof(std::uint32_t));
    if (grown == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(words.release());
    words.reset(static_cast<std::uint32_t*>(grown));
}

void PackedBases::Append(std::string_view letters) {
    Reserve((count + letters.size() + 7) / 8);
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

void PackedBases::Unpack(std::uint64_t begin, std::uint64_t end, char* bases) const {
    static const auto pairs = MakePairs();
    const auto* const bytes = reinterpret_cast<const unsigned char*>(words.get());
    if (begin < end && begin % 2 == 1) {
        *bases++ = pairs[bytes[begin / 2]][1];
        ++begin;
    }
    for (; begin + 2 <= end; begin += 2, bases += 2) {
        std::memcpy(bases, pairs[bytes[begin / 2]].data(), 2);
    }
    if (begin < end) {
        *bases = pairs[bytes[begin / 2]][0];
    }
}

std::uint32_t* PackedBases::Take() {
    const auto size = (count + 7) / 8 * sizeof(std::uint32_t);
    auto* const taken = words.release();
    void* const fitted = size > 0 ? std::realloc(taken, size) : nullptr;  // Never fails to get smaller in practice.
    return fitted != nullptr ? static_cast<std::uint32_t*>(fitted) : taken;
}

}  // namespace qel_minimap2
