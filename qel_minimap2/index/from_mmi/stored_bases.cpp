#include "qel_minimap2/index/from_mmi/stored_bases.h"

#include <algorithm>
#include <mutex>

#include "qel_minimap2/index/parallel.h"

namespace qel_minimap2 {

namespace {

// The bases are searched for zeros by blocks. A run twice as long as a block holds a whole one, wherever it begins.
constexpr std::uint64_t kBlockWords = 32;
constexpr std::uint64_t kBlocksPerItem = std::uint64_t{1} << 13U;

}  // namespace

std::vector<std::uint64_t> CopyBases(const IndexLayout& layout, std::uint32_t* words) {
    const auto blocks = (layout.BaseWords() + kBlockWords - 1) / kBlockWords;
    std::mutex mutex;
    std::vector<std::uint64_t> zeros;  // Guarded by the mutex.
    ForEach((blocks + kBlocksPerItem - 1) / kBlocksPerItem, [&](std::size_t item, unsigned) {
        std::vector<std::uint64_t> found;
        std::uint32_t bad = 0;
        const auto end = std::min((item + 1) * kBlocksPerItem, blocks);
        const auto first = item * kBlocksPerItem * kBlockWords;
        const auto words_of_item = std::min(end * kBlockWords, layout.BaseWords()) - first;
        layout.File().Read(layout.Bases() + first * sizeof *words, words_of_item * sizeof *words, words + first);
        for (auto block = item * kBlocksPerItem; block < end; ++block) {
            const auto begin = block * kBlockWords;
            const auto count = std::min(kBlockWords, layout.BaseWords() - begin);
            std::uint32_t any = 0;
            for (std::uint64_t i = begin; i < begin + count; ++i) {
                const auto word = words[i];
                any |= word;
                bad |= (word & 0x88888888U) | ((word >> 2U) & (word | word >> 1U) & 0x11111111U);
            }
            if (any == 0) {
                found.push_back(begin * 8);
            }
        }
        if (bad != 0) {
            throw DamagedIndex("bases that are none");
        }
        const std::lock_guard lock(mutex);
        zeros.insert(zeros.end(), found.begin(), found.end());
    });
    std::sort(zeros.begin(), zeros.end());
    return zeros;
}

}  // namespace qel_minimap2
