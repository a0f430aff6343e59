#include "qel_minimap2/index/from_mmi/stored_bases.h"

#include <algorithm>
#include <mutex>

#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/parallel.h"

namespace qel_minimap2 {

namespace {

// Zeros are searched for by section. A run twice as long as a section contains a whole one, wherever it begins.
constexpr std::uint64_t kSectionWords = 32;
constexpr std::uint64_t kSectionsPerItem = std::uint64_t{1} << 13U;

}  // namespace

std::vector<std::uint64_t> CopyBases(const IndexLayout& layout, std::uint32_t* words) {
    const auto sections = (layout.BaseWords() + kSectionWords - 1) / kSectionWords;
    std::mutex mutex;
    std::vector<std::uint64_t> zeros;  // Guarded by the mutex.
    ForEach((sections + kSectionsPerItem - 1) / kSectionsPerItem, [&](std::size_t item, unsigned) {
        std::vector<std::uint64_t> found;
        std::uint64_t bad = 0;
        const auto end = std::min((item + 1) * kSectionsPerItem, sections);
        const auto first = item * kSectionsPerItem * kSectionWords;
        const auto words_of_item = std::min(end * kSectionWords, layout.BaseWords()) - first;
        layout.File().Read(layout.Bases() + first * sizeof *words, words_of_item * sizeof *words, words + first);
        for (auto section = item * kSectionsPerItem; section < end; ++section) {
            const auto begin = section * kSectionWords;
            const auto count = std::min(kSectionWords, layout.BaseWords() - begin);
            std::uint32_t any = 0;
            for (std::uint64_t i = begin; i < begin + count; ++i) {
                const auto word = words[i];
                any |= word;
                bad |= ImpossibleCodes(word);
            }
            if (any == 0) {
                found.push_back(begin * 8);
            }
        }
        if (bad != 0) {
            throw DamagedIndex("invalid base codes");
        }
        const std::lock_guard lock(mutex);
        zeros.insert(zeros.end(), found.begin(), found.end());
    });
    std::sort(zeros.begin(), zeros.end());
    return zeros;
}

}  // namespace qel_minimap2
