#include "third_party_alignment/qel_minimap2/qel_minimap2.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Index = std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)>;
using Tests::Lines;

struct Read {
    std::string name, bases;
};

std::string Shell(const std::string& command) {
    const std::unique_ptr<std::FILE, decltype(&::pclose)> pipe(::popen(command.c_str(), "r"), &::pclose);
    std::string output;
    std::array<char, 4096> chunk{};
    while (std::fgets(chunk.data(), chunk.size(), pipe.get()) != nullptr) {
        output += chunk.data();
    }
    return output;
}

Index Load(const std::string& path) {
    return {qelmm_load_index(path.c_str()), &qelmm_unload_index};
}

std::string Align(const mm_idx_t* index, std::int32_t threshold, const Read& read) {
    mm_bseq1_t minimap_read{};
    minimap_read.l_seq = static_cast<int>(read.bases.size());
    minimap_read.name = const_cast<char*>(read.name.c_str());
    minimap_read.seq = const_cast<char*>(read.bases.c_str());
    minimap_read.qual = nullptr;
    char* const text = qelmm_align(index, threshold, minimap_read);
    std::string copy = text;
    if (!copy.starts_with("ERROR:")) {
        std::free(text);
    }
    return copy;
}

Lines SortedLines(const std::string& text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
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
            reads.push_back({"rna" + std::to_string(i), bases});
            std::replace(reads.back().bases.begin(), reads.back().bases.end(), 'T', 'U');
        }
        reads.push_back({"tiny", "A"});
    }

    unsigned Random() { return (state = state * 1664525U + 1013904223U) >> 8U; }
    std::string RandomBases(std::size_t count) { return Tests::RandomBases(state, count); }
    std::string Mutated(const std::string& bases) {
        std::string result;
        for (const char base : bases) {
            const auto dice = Random() % 100;
            result += dice < 4    ? RandomBases(1)
                      : dice < 7  ? ""
                      : dice < 10 ? base + RandomBases(1)
                                  : std::string(1, base);
        }
        return result;
    }
    std::string Path(const std::string& name) const { return folder.Path(name); }

    // All reads' records by `threads` threads.
    Lines AlignAll(const mm_idx_t* index, std::int32_t threshold, unsigned threads) {
        std::vector<std::string> texts(reads.size());
        {
            std::vector<std::jthread> workers;
            for (unsigned t = 0; t < threads; ++t) {
                workers.emplace_back([&, t] {
                    for (std::size_t i = t; i < reads.size(); i += threads) {
                        texts[i] = Align(index, threshold, reads[i]);
                    }
                });
            }
        }
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

TEST_F(QelMinimap2, ExportsItsFourFunctionsAndNeedsNoTextRelocations) {
    const std::string library = QEL_MINIMAP2_LIBRARY;
    EXPECT_EQ(SortedLines(Shell("nm -D --defined-only --format=posix " + library + " | cut -d' ' -f1")),
              (Lines{"qelmm_align", "qelmm_cache_idx_occ_thres", "qelmm_load_index", "qelmm_unload_index"}));
    const auto dynamic = Shell("readelf -d " + library);
    EXPECT_NE(dynamic.find("NEEDED"), std::string::npos);
    EXPECT_EQ(dynamic.find("TEXTREL"), std::string::npos);
}

TEST_F(QelMinimap2, RecordsAreThoseOfTheProgramWhateverTheThreadsAndTheIndex) {
    std::ofstream fasta(Path("reads.fa"));
    for (const auto& read : reads) {
        fasta << '>' << read.name << '\n' << read.bases << '\n';
    }
    fasta.close();
    const auto expected = SortedLines(Shell("minimap2 -a -x map-ont -Q " + reference + " " + Path("reads.fa") +
                                            " 2>/dev/null | grep -v ^@ | sed 's/\\trl:i:[0-9]*//'"));
    ASSERT_GT(expected.size(), reads.size()) << "no secondary or supplementary records, or no minimap2";
    Shell("minimap2 -x map-ont -d " + Path("index.mmi") + " " + reference + " 2>/dev/null");
    Shell("gzip -k " + reference);

    const auto plain = Load(reference);
    const auto packed = Load(reference + ".gz");
    const auto prebuilt = Load(Path("index.mmi"));
    for (const auto* index : {&plain, &packed, &prebuilt}) {
        ASSERT_NE(*index, nullptr);
        const auto threshold = qelmm_cache_idx_occ_thres(index->get());
        EXPECT_GT(threshold, 0);
        EXPECT_EQ(AlignAll(index->get(), threshold, 8), expected);
        EXPECT_EQ(AlignAll(index->get(), 0, 2), expected) << "an unknown threshold is found";
    }
}

TEST_F(QelMinimap2, OddReadsGetARecordOrAReason) {
    const auto index = Load(reference);
    EXPECT_EQ(Align(index.get(), 1, {"empty", ""}), "empty\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n");
    EXPECT_TRUE(Align(index.get(), 0, {"a\tb c", "ACGT"}).starts_with("a\t4\t*")) << "cut as the program cuts it";
    EXPECT_EQ(Align(index.get(), 0, {"", "ACGT"}), "ERROR: the read has no name");
    EXPECT_TRUE(Align(index.get(), 0, {"@r", "ACGT"}).starts_with("ERROR: the read's name begins with '@'"));
    EXPECT_TRUE(Align(nullptr, 1, {"r", "ACGT"}).starts_with("ERROR: "));
    qelmm_unload_index(nullptr);
}

TEST_F(QelMinimap2, AReferenceThatIsNotWholeIsRefusedWithItsReason) {
    const auto good = Tests::ReadAll(reference);
    Shell("gzip -k " + reference);
    const auto packed = Tests::ReadAll(reference + ".gz");
    Shell("minimap2 -x map-ont -I 1k -d " + Path("parts.mmi") + " " + reference + " 2>/dev/null");
    Shell("minimap2 -x map-ont --idx-no-seq -d " + Path("bare.mmi") + " " + reference + " 2>/dev/null");
    auto damaged = packed;
    damaged[packed.size() / 2] = static_cast<char>(damaged[packed.size() / 2] ^ 0x55);
    const std::string index = "the minimap2 index ";
    const struct {
        std::string path, reason;
    } cases[] = {
        {Path("none"), "No such file or directory"},
        {Path("."), "is a folder"},
        {folder.Write("noise", "\x07\x81 noise"), "is neither a minimap2 index nor a FASTA or FASTQ file"},
        {folder.Write("noise.fa", ">a\nAC\x01GT\n"), "sequence 'a' holds bytes that are no bases"},
        {folder.Write("unnamed.fa", ">a\nACGT\n> b\nACGT\n"), "holds a sequence without a name"},
        {folder.Write("cut.fq", "@a\nACGT\n+\nIII"), "the qualities of sequence 'a' are not as many as its bases"},
        {folder.Write("cut.gz", packed.substr(0, packed.size() - 20)), "the gzip data end too early"},
        {folder.Write("bad.gz", damaged), "the gzip data are damaged (in"},
        {Path("parts.mmi"), index + "has several parts; build it with a larger -I"},
        {Path("bare.mmi"), index + "was built without its sequences, which alignment needs"},
        {folder.Write("head.mmi", "MMI\2"), index + "ends too early"},
    };
    for (const auto& c : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(Load(c.path), nullptr) << c.path;
        const auto said = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(said.starts_with("libqel_minimap2: " + c.path + ": " + c.reason)) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    }
    testing::internal::CaptureStderr();
    const auto empty = Load(folder.Write("empty.fa", ""));
    const auto twice = Load(folder.Write("twice.fa", good + ">two\nACGT\n"));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("several sequences are named 'two'"), std::string::npos);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->n_seq, 0U);
    ASSERT_NE(twice, nullptr);
    EXPECT_EQ(twice->n_seq, 3U);
}

// A prebuilt index that is cut anywhere is refused. One flipped byte is found or harmless, but never fatal.
TEST_F(QelMinimap2, DamagedIndexesAreRefusedOrWork) {
    const auto small = folder.Write("small.fa", ">s\n" + RandomBases(400) + "\n>t\n" + RandomBases(90) + "\n");
    Shell("minimap2 -x map-ont -d " + Path("small.mmi") + " " + small + " 2>/dev/null");
    const auto good = Tests::ReadAll(Path("small.mmi"));
    ASSERT_GT(good.size(), 1000U);
    testing::internal::CaptureStderr();
    for (std::size_t i = 0; i < 200; ++i) {
        const auto cut = i < 60 ? i : Random() % good.size();
        EXPECT_EQ(Load(folder.Write("cut.mmi", good.substr(0, cut))) == nullptr, cut != 0)
            << cut;  // An empty file is a reference of 0 sequences.
        auto flipped = good;
        const auto at = i < 60 ? i : Random() % good.size();
        flipped[at] = static_cast<char>(flipped[at] ^ (1U << Random() % 8));
        if (const auto index = Load(folder.Write("flipped.mmi", flipped))) {
            Align(index.get(), 0, reads[0]);
        }
    }
    testing::internal::GetCapturedStderr();
}

}  // namespace
