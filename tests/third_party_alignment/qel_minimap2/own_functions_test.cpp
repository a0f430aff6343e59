#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "third_party_alignment/qel_minimap2/qel_minimap2.h"

namespace {

bool ExpectsOwnFunctions() {
    const char* const kernel = std::getenv("QEL_KERNEL");
    return __builtin_cpu_supports("avx2") && (kernel == nullptr || std::string_view(kernel) != "library");
}

// An error each ten bases.
std::string Noisy(std::string bases, unsigned& state) {
    for (std::size_t i = 5; i < bases.size(); i += 10) {
        bases.replace(i, 1, Tests::RandomBases(state, i % 3));
    }
    return bases;
}

std::string Align(const mm_idx_t* index, std::int32_t threshold, std::string bases) {
    std::string name = "read";
    mm_bseq1_t read{};
    read.l_seq = static_cast<int>(bases.size());
    read.name = name.data();
    read.seq = bases.data();
    const std::unique_ptr<char, decltype(&std::free)> text(qelmm_align(index, threshold, read), &std::free);
    return text.get();
}

// Results are the same with either, so nothing else would tell that ours are never called.
TEST(OwnFunctions, EachAnswersUnlessTheLibrarysAreAskedFor) {
    unsigned state = 7;
    const auto reference = Tests::RandomBases(state, 60000);
    std::vector<std::string> reads;
    for (std::size_t i = 0; i < 20; ++i) {
        reads.push_back(Noisy(reference.substr(2500 * i, 2000), state));
        // Bases of its own in the middle, for which no strip will do, and then a part left out, over which chains join.
        reads.back() += Tests::RandomBases(state, 300) + Noisy(reference.substr(2500 * i + 2300, 2000), state) +
                        Noisy(reference.substr(2500 * i + 7000, 2000), state);
    }
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("reference.fa", ">one\n" + reference + "\n");
    const std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)> index(qelmm_load_index(path.c_str()),
                                                                         &qelmm_unload_index);
    const auto threshold = qelmm_cache_idx_occ_thres(index.get());
    EXPECT_EQ(threshold, 10) << "the least that the preset allows";
    for (const auto& read : reads) {
        EXPECT_TRUE(Align(index.get(), threshold, read).starts_with("read\t0\tone\t"));
    }

    const auto c = qelmm_own_calls();
    const std::uint64_t once = ExpectsOwnFunctions() ? reads.size() : 0;  // For each read.
    const std::vector<std::uint64_t> counts{c.sketches, c.seed_collections, c.chainings, c.joinings};
    EXPECT_EQ(counts, std::vector(4, once));
    if (once > 0) {
        EXPECT_GT(c.certified_bands, 10 * once);
        EXPECT_GT(c.checkpointed_sweeps, once / 2);
        EXPECT_GT(c.general_alignments, 3 * once);
        EXPECT_GT(c.anchor_sorts, 3 * once);
    } else {
        EXPECT_EQ(c.certified_bands + c.checkpointed_sweeps + c.general_alignments + c.anchor_sorts, 0U);
    }
}

}  // namespace
