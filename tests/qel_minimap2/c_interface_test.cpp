#include "qel_minimap2/qel_minimap2.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Index = std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)>;
using Read = std::pair<std::string, std::string>;  // Name and bases.

Index Load(const std::string& path) {
    return {qelmm_load_index(path.c_str()), &qelmm_unload_index};
}

std::string Align(const mm_idx_t* index, std::int32_t threshold, const Read& read) {
    const auto& [name, bases] = read;
    mm_bseq1_t minimap_read{};
    minimap_read.l_seq = static_cast<int>(bases.size());
    minimap_read.name = const_cast<char*>(name.c_str());
    minimap_read.seq = const_cast<char*>(bases.c_str());
    char* const text = qelmm_align(index, threshold, minimap_read);
    std::string copy = text;
    if (!copy.starts_with("ERROR:")) {
        std::free(text);
    }
    return copy;
}

// Returns the width in bits of the kernels' registers; 0 if minimap2's functions are used.
unsigned ExpectedWidth() {
    const char* const value = std::getenv("QEL_KERNEL");
    const std::string_view wanted = value != nullptr ? value : "";
#ifdef __x86_64__
    const unsigned widest = __builtin_cpu_supports("avx2") != 0 ? 256 : 128;
#else
    const unsigned widest = 128;
#endif
    return wanted == "library" ? 0 : wanted == "128" ? 128 : widest;
}

class QelMinimap2 : public testing::Test {
protected:
    std::string RandomBases(std::size_t count) { return Tests::RandomBases(state, count); }
    // Returns the read with an error every ten bases.
    std::string Noisy(std::string read) {
        for (std::size_t i = 5; i < read.size(); i += 10) {
            read.replace(i, 1, RandomBases(i % 3));
        }
        return read;
    }
    // Returns the standard output of a command that must succeed.
    std::string Shell(const std::string& command) const {
        EXPECT_EQ(std::system((command + " > " + Tests::Quoted(folder.Path("printed"))).c_str()), 0) << command;
        return Tests::ReadAll(folder.Path("printed"));
    }

    unsigned state = 7;
    Tests::TemporaryFolder folder;
    const std::string bases = RandomBases(60000);
    const std::string reference = folder.Write("reference.fa", ">one\n" + bases + "\n");
};

// The results are the same with minimap2's functions, so no other test would notice if our functions were never called.
TEST_F(QelMinimap2, OwnFunctionsRunUnlessMinimap2sAreRequested) {
    std::vector<std::string> reads;
    for (std::size_t i = 0; i < 20; ++i) {
        reads.push_back(Noisy(bases.substr(2500 * i, 2000)));
        // The random bases in the middle cannot be aligned in a certified band. Later, the read skips a part of the
        // reference, and chains are joined across the skipped part.
        reads.back() += RandomBases(300);
        reads.back() += Noisy(bases.substr(2500 * i + 2300, 2000)) + Noisy(bases.substr(2500 * i + 7000, 2000));
    }
    const auto index = Load(reference);
    const auto threshold = qelmm_cache_idx_occ_thres(index.get());
    EXPECT_EQ(threshold, 10) << "not the lowest threshold that the preset allows";
    for (const auto& read : reads) {
        EXPECT_TRUE(Align(index.get(), threshold, {"read", read}).starts_with("read\t0\tone\t"));
    }

    const auto c = qelmm_own_calls();
    EXPECT_EQ(c.register_bits, ExpectedWidth());
    const std::uint64_t once = ExpectedWidth() > 0 ? reads.size() : 0;  // One call per read.
    EXPECT_EQ(c.seed_collections, reads.size()) << "seed collection does not depend on QEL_KERNEL";
    const std::vector<std::uint64_t> counts{c.sketches, c.chainings, c.joinings};
    EXPECT_EQ(counts, std::vector(3, once));
    if (once > 0) {
        EXPECT_GT(c.certified_bands, 10 * once);
        EXPECT_GT(c.checkpointed_sweeps, once / 2);
        EXPECT_GT(c.general_alignments, 3 * once);
        EXPECT_GT(c.anchor_sorts, 3 * once);
    } else {
        EXPECT_EQ(c.certified_bands + c.checkpointed_sweeps + c.general_alignments + c.anchor_sorts, 0U);
    }
    EXPECT_EQ(Align(index.get(), 0, {"read", reads[0]}), Align(index.get(), threshold, {"read", reads[0]}))
        << "threshold 0 must mean the index's own threshold";
}

TEST_F(QelMinimap2, ExportsItsFunctionsAndNeedsNoTextRelocations) {
    const std::string library = Tests::Quoted(QEL_MINIMAP2_LIBRARY);
    EXPECT_EQ(
        Tests::LinesOf(Shell("nm -D --defined-only --format=posix " + library + " | cut -d' ' -f1 | LC_ALL=C sort")),
        (Tests::Lines{"qelmm_align", "qelmm_cache_idx_occ_thres", "qelmm_check_index", "qelmm_describe_index",
                      "qelmm_load_index", "qelmm_make_index", "qelmm_minimap2_version", "qelmm_own_calls",
                      "qelmm_remove_unfinished_indexes", "qelmm_set_threads", "qelmm_unload_index"}));
    const auto dynamic = Shell("readelf -d " + library);
    EXPECT_NE(dynamic.find("NEEDED"), std::string::npos);
    EXPECT_EQ(dynamic.find("TEXTREL"), std::string::npos);
    EXPECT_NE(dynamic.find("NODELETE"), std::string::npos) << "dlclose would unload the code of a signal handler";
}

// In a reference longer than 4 Gb, the offsets of later sequences do not fit into 32 bits. The test gives the only
// sequence such an offset and moves the start of the packed bases back by the same number of bases.
TEST_F(QelMinimap2, SequencesMayBeginFarFromTheFirstBase) {
    const auto index = Load(reference);
    const Read read = {"read", Noisy(bases.substr(30000, 3000))};
    const auto near = Align(index.get(), 0, read);
    ASSERT_TRUE(near.starts_with("read\t0\tone\t"));
    constexpr std::uint64_t kFar = 5'000'000'000;  // Bases.
    index->seq[0].offset += kFar;
    index->S -= kFar / 8;  // A word of S holds eight bases.
    EXPECT_EQ(Align(index.get(), 0, read), near);
    index->S += kFar / 8;
}

TEST_F(QelMinimap2, EachIndexHasItsOwnThresholdAndIsFreedCompletely) {
    const auto used = [] { return ::mallinfo2().uordblks + ::mallinfo2().hblkhd; };
    const auto unit = RandomBases(400);
    std::string copies = ">copies\n";
    for (int i = 0; i < 30; ++i) {
        copies += unit + RandomBases(300);
    }
    const auto repetitive = folder.Write("copies.fa", copies + "\n");
    const auto first = Load(repetitive);
    EXPECT_EQ(qelmm_cache_idx_occ_thres(first.get()), 31);
    const auto at_first = used();
    EXPECT_TRUE(Align(first.get(), 31, {"r", unit}).starts_with("r\t0\tcopies"));
    EXPECT_TRUE(Align(first.get(), 1, {"r", unit}).starts_with("r\t4")) << "its minimizers occur more than once";
    Align(Load(reference).get(), 0, {"r", bases});
    EXPECT_LT(used(), at_first + 3'000'000) << "the mapping buffers for the long read were not freed";
    const auto before = used();
    for (int i = 0; i < 5; ++i) {  // A later index may get the address of a freed one.
        EXPECT_EQ(qelmm_cache_idx_occ_thres(Load(reference).get()), 10);
        EXPECT_EQ(qelmm_cache_idx_occ_thres(Load(repetitive).get()), 31);
    }
    EXPECT_LT(used(), before + 100'000) << "parts of an index were not freed";
}

// The reads are so short that the threads spend most of their time in code that uses shared data.
TEST_F(QelMinimap2, ThreadsDoNotDisturbEachOther) {
    const auto index = Load(reference);
    std::vector<std::jthread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&, t, name = std::to_string(t)] {
            for (int i = 0; i < 50000; ++i) {
                const auto failure = Align(index.get(), 0, {t % 2 == 0 ? "" : "@", "ACGT"});
                EXPECT_TRUE(failure.starts_with(t % 2 == 0 ? "ERROR: the read has" : "ERROR: the read's")) << failure;
                EXPECT_EQ(Align(index.get(), 0, {name, "ACGT"}), name + "\t4\t*\t0\t0\t*\t*\t0\t0\tACGT\t*\n");
            }
        });
    }
    const auto small = folder.Write("small.fa", ">small\nACGTTAGATTGACCA\n");
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(qelmm_cache_idx_occ_thres(Load(small).get()), 10);
    }
}

// Finding a threshold adds up the counts of all blocks of the table. That takes too long to do for each read.
TEST_F(QelMinimap2, AnUnknownThresholdIsComputedOnce) {
    const auto index = Load(reference);
    std::clock_t least[] = {CLOCKS_PER_SEC, CLOCKS_PER_SEC};  // For each threshold, the shortest of five rounds.
    for (int round = 0; round < 10; ++round) {
        const auto start = std::clock();
        for (int i = 0; i < 1000; ++i) {
            Align(index.get(), round % 2 == 0 ? 0 : 10, {"r", "ACGT"});
        }
        least[round % 2] = std::min(least[round % 2], std::clock() - start);
    }
    EXPECT_LT(least[0], 3 * least[1]);
}

TEST_F(QelMinimap2, UnusualReadsGetARecordOrAnError) {
    const auto index = Load(reference);
    const std::string empty = "empty\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n";
    EXPECT_EQ(Align(index.get(), 1, {"empty", ""}), empty);
    mm_bseq1_t none{};
    none.name = const_cast<char*>("empty");
    const std::unique_ptr<char, decltype(&std::free)> text(qelmm_align(index.get(), 1, none), &std::free);
    EXPECT_EQ(text.get(), empty);
    for (const std::string name : {"a\tb", "a b"}) {
        EXPECT_TRUE(Align(index.get(), 0, {name, "ACGT"}).starts_with("a\t4\t*"))
            << "the minimap2 program ends names there, too";
    }
    EXPECT_EQ(Align(index.get(), 0, {"rna", "AuU"}), "rna\t4\t*\t0\t0\t*\t*\t0\t0\tAtT\t*\n");
    EXPECT_EQ(Align(index.get(), 0, {"", "ACGT"}), "ERROR: the read has no name");
    EXPECT_TRUE(Align(index.get(), 0, {"@r", "ACGT"}).starts_with("ERROR: the read's name begins with '@'"));
    EXPECT_TRUE(Align(nullptr, 1, {"r", "ACGT"}).starts_with("ERROR: "));
    qelmm_unload_index(nullptr);
}

TEST_F(QelMinimap2, LackOfMemoryFailsTheRead) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "Sanitizers end the process instead.";
#endif
    const auto index = Load(reference);
    const Read read(std::string(100'000'000, 'a'), "ACGT");
    rlimit before{};
    ::getrlimit(RLIMIT_AS, &before);
    const rlimit none{0, before.rlim_max};
    ::setrlimit(RLIMIT_AS, &none);
    const auto answer = Align(index.get(), 1, read);
    ::setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(answer, "ERROR: out of memory");
}

}  // namespace
