#include "checks/sequence_digest.h"

#include <algorithm>
#include <cstring>

#include <xxhash.h>

namespace Checks {

std::string DigestOf(std::string_view sequence) {
    std::string with_thymine;
    if (sequence.find('U') != std::string_view::npos) {
        with_thymine = sequence;
        std::replace(with_thymine.begin(), with_thymine.end(), 'U', 'T');
        sequence = with_thymine;
    }
    const XXH64_hash_t hash = XXH3_64bits(sequence.data(), sequence.size());
    std::string digest(sizeof(hash), '\0');
    std::memcpy(digest.data(), &hash, sizeof(hash));
    return digest;
}

void ReverseComplement(std::string& sequence) {
    std::reverse(sequence.begin(), sequence.end());
    // The codes of A and T differ in 0x15, those of C and G in 0x04; bit 0x02 is set in C and G only. Without a
    // look-up or branch, the compiler can vectorise the loop.
    for (char& letter : sequence) {
        const auto code = static_cast<unsigned char>(letter);
        letter = static_cast<char>(code ^ ((code & 0x02U) != 0 ? 0x04U : 0x15U));
    }
}

}  // namespace Checks
