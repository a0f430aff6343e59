#include "third_party_alignment/qel_minimap2/qel_minimap2.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <thread>

#include <gtest/gtest.h>
#include <malloc.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Index = std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)>;
using Tests::Lines;

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

Lines SortedLines(const std::string& text) {
    auto lines = Tests::LinesOf(text);
    std::sort(lines.begin(), lines.end());
    return lines;
}

// A reference with repeats, so that there are secondary and supplementary records, and noisy reads from it.
class QelMinimap2 : public testing::Test {
protected:
    QelMinimap2() {
        const auto repeat = RandomBases(3000);
        const auto first = RandomBases(20000) + repeat + RandomBases(8000) + repeat + RandomBases(5000);
        const auto second = RandomBases(9000) + repeat;
        reference = folder.Write("reference.fa", ">one\n" + first + "\n>two desc\n" + second + "\n");
        for (int i = 0; i < 60; ++i) {
            const auto length = 50 + Random() % 3000;
            auto bases = Mutated(first.substr(Random() % (first.size() - length), length));
            if (i % 5 == 0) {
                bases += Mutated(second.substr(Random() % 8000, 1000));  // Split over two sequences.
            }
            reads.push_back(
                {"read/" + std::to_string(i), i % 2 == 0 ? bases : std::string(bases.rbegin(), bases.rend())});
            std::replace(bases.begin(), bases.end(), 'T', i % 3 == 0 ? 'u' : 'U');
            reads.push_back({"rna" + std::to_string(i), bases});
        }
        reads.push_back({"tiny", "A"});
    }

    unsigned Random() { return (state = state * 1664525U + 1013904223U) >> 8U; }
    std::string RandomBases(std::size_t count) { return Tests::RandomBases(state, count); }
    std::string Mutated(const std::string& bases) {
        std::string result;
        for (const char base : bases) {
            const auto dice = Random() % 100;
            result += dice < 4 ? RandomBases(1) : dice < 7 ? "" : std::string(1, base);
            result += dice >= 97 ? RandomBases(1) : "";
        }
        return result;
    }
    // What a command prints.
    std::string Shell(const std::string& command) const {
        EXPECT_EQ(std::system((command + " > " + folder.Path("printed")).c_str()), 0) << command;
        return Tests::ReadAll(folder.Path("printed"));
    }
    // The path of a new index of `fasta`.
    std::string BuildIndex(const std::string& options, const std::string& fasta, const std::string& name) const {
        Shell("minimap2 -x map-ont " + options + " -d " + folder.Path(name) + " " + fasta + " 2> /dev/null");
        return folder.Path(name);
    }

    // All reads' records by `threads` threads.
    Lines AlignAll(const mm_idx_t* index, std::int32_t threshold, unsigned threads) {
        std::vector<std::string> texts(reads.size());
        std::vector<std::jthread> workers;
        for (unsigned t = 0; t < threads; ++t) {
            workers.emplace_back([&, t] {
                for (std::size_t i = t; i < reads.size(); i += threads) {
                    texts[i] = Align(index, threshold, reads[i]);
                }
            });
        }
        workers.clear();
        std::string all;
        for (const auto& text : texts) {
            all += text;
        }
        return SortedLines(all);
    }

    unsigned state = 5;
    Tests::TemporaryFolder folder;
    std::string reference;
    std::vector<Read> reads;
};

TEST_F(QelMinimap2, ExportsItsFunctionsAndNeedsNoTextRelocations) {
    const std::string library = QEL_MINIMAP2_LIBRARY;
    EXPECT_EQ(SortedLines(Shell("nm -D --defined-only --format=posix " + library + " | cut -d' ' -f1")),
              (Lines{"qelmm_align", "qelmm_cache_idx_occ_thres", "qelmm_load_index", "qelmm_minimap2_version",
                     "qelmm_own_calls", "qelmm_unload_index"}));
    const auto dynamic = Shell("readelf -d " + library);
    EXPECT_NE(dynamic.find("NEEDED"), std::string::npos);
    EXPECT_EQ(dynamic.find("TEXTREL"), std::string::npos);
}

TEST_F(QelMinimap2, RecordsAreThoseOfTheProgramWhateverTheThreadsAndTheIndex) {
    std::string fasta;
    for (const auto& [name, bases] : reads) {
        fasta += ">" + name + "\n" + bases + "\n";
    }
    const auto expected =
        SortedLines(Shell("minimap2 -a -x map-ont -Q " + reference + " " + folder.Write("reads.fa", fasta) +
                          " 2>/dev/null | grep -v ^@ | sed 's/\\trl:i:[0-9]*//'"));
    ASSERT_GT(expected.size(), reads.size()) << "no secondary or supplementary records, or no minimap2";
    Shell("gzip -kf " + reference);
    for (const auto& path : {reference, reference + ".gz", BuildIndex("", reference, "index.mmi")}) {
        const auto index = Load(path);
        ASSERT_NE(index, nullptr);
        const auto threshold = qelmm_cache_idx_occ_thres(index.get());
        EXPECT_GT(threshold, 0);
        EXPECT_EQ(AlignAll(index.get(), threshold, 8), expected);
        EXPECT_EQ(AlignAll(index.get(), 0, 2), expected) << "an unknown threshold is found";
    }
}

TEST_F(QelMinimap2, EachIndexHasAThresholdOfItsOwnAndGoesAsAWhole) {
    const auto used = [] { return ::mallinfo2().uordblks + ::mallinfo2().hblkhd; };
    const auto unit = RandomBases(400);
    std::string copies = ">copies\n";
    for (int i = 0; i < 30; ++i) {
        copies += unit + RandomBases(300);
    }
    const auto repetitive = folder.Write("copies.fa", copies + "\n");
    const auto first = Load(repetitive);
    EXPECT_EQ(qelmm_cache_idx_occ_thres(first.get()), 31);
    Load(reference);
    const auto before = used();
    for (int i = 0; i < 5; ++i) {  // An index may lie where the one before it was.
        EXPECT_EQ(qelmm_cache_idx_occ_thres(Load(reference).get()), 10);
        EXPECT_EQ(qelmm_cache_idx_occ_thres(Load(repetitive).get()), 31);
    }
    EXPECT_LT(used(), before + 100'000) << "less than one index takes";
}

// Reads so short that what the threads share takes most of the time.
TEST_F(QelMinimap2, ThreadsDoNotGetInEachOthersWay) {
    const auto index = Load(reference);
    std::vector<std::jthread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&, name = std::to_string(t)] {
            for (int i = 0; i < 50000; ++i) {
                EXPECT_EQ(Align(index.get(), 0, {name, "ACGT"}), name + "\t4\t*\t0\t0\t*\t*\t0\t0\tACGT\t*\n");
            }
        });
    }
    const auto small = folder.Write("small.fa", ">small\nACGTTAGATTGACCA\n");
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(qelmm_cache_idx_occ_thres(Load(small).get()), 10);
    }
}

TEST_F(QelMinimap2, OddReadsGetARecordOrAReason) {
    const auto index = Load(reference);
    EXPECT_EQ(Align(index.get(), 1, {"empty", ""}), "empty\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n");
    for (const std::string name : {"a\tb", "a b"}) {
        EXPECT_TRUE(Align(index.get(), 0, {name, "ACGT"}).starts_with("a\t4\t*")) << "cut as the program cuts it";
    }
    EXPECT_EQ(Align(index.get(), 0, {"", "ACGT"}), "ERROR: the read has no name");
    EXPECT_TRUE(Align(index.get(), 0, {"@r", "ACGT"}).starts_with("ERROR: the read's name begins with '@'"));
    EXPECT_TRUE(Align(nullptr, 1, {"r", "ACGT"}).starts_with("ERROR: "));
    qelmm_unload_index(nullptr);
}

}  // namespace
