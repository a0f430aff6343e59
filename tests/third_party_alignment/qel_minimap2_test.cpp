#include "third_party_alignment/qel_minimap2/qel_minimap2.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Index = std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)>;
using Tests::Lines;

using Read = std::pair<std::string, std::string>;  // Name and bases.

Index Load(const std::string& path) {
    return {qelmm_load_index(path.c_str()), &qelmm_unload_index};
}

// The number of sequences in an index or reference and what its loading said, without the path in front.
using Loaded = std::pair<int, std::string>;
constexpr int kRefused = -1;

Loaded LoadedFrom(const std::string& path) {
    testing::internal::CaptureStderr();
    const auto index = Load(path);
    const auto said = testing::internal::GetCapturedStderr();
    const auto start = "libqel_minimap2: " + path + ": ";
    return {index ? static_cast<int>(index->n_seq) : kRefused,
            said.starts_with(start) ? said.substr(start.size(), said.size() - start.size() - 1) : said};
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
            std::replace(bases.begin(), bases.end(), 'T', 'U');
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
    std::string Gzip(const std::string& path) const {
        Shell("gzip -kf " + path);
        return Tests::ReadAll(path + ".gz");
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

TEST_F(QelMinimap2, ExportsItsFourFunctionsAndNeedsNoTextRelocations) {
    const std::string library = QEL_MINIMAP2_LIBRARY;
    EXPECT_EQ(SortedLines(Shell("nm -D --defined-only --format=posix " + library + " | cut -d' ' -f1")),
              (Lines{"qelmm_align", "qelmm_cache_idx_occ_thres", "qelmm_load_index", "qelmm_unload_index"}));
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
    Gzip(reference);
    for (const auto& path : {reference, reference + ".gz", BuildIndex("", reference, "index.mmi")}) {
        const auto index = Load(path);
        ASSERT_NE(index, nullptr);
        const auto threshold = qelmm_cache_idx_occ_thres(index.get());
        EXPECT_GT(threshold, 0);
        EXPECT_EQ(AlignAll(index.get(), threshold, 8), expected);
        EXPECT_EQ(AlignAll(index.get(), 0, 2), expected) << "an unknown threshold is found";
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

TEST_F(QelMinimap2, AReferenceIsWholeOrRefusedWithItsReason) {
    const auto good = Tests::ReadAll(reference);
    const auto one = Gzip(reference);
    const auto two = Gzip(folder.Write("b.fa", ">b\n" + RandomBases(5000) + "\n"));
    auto no_member = two;
    no_member[1] = 'x';  // What follows is then no gzip data, which zlib passes over without a word.
    auto damaged = one;
    damaged[one.size() / 2] = static_cast<char>(damaged[one.size() / 2] ^ 0x55);
    const std::string too_early = "the gzip data end too early", bad_gzip = "the gzip data are damaged (";
    const std::string index = "the minimap2 index ";
    const std::string bad_name = "holds a sequence whose name has blanks or control characters";
    const std::string no_fasta = "is neither a minimap2 index nor a FASTA or FASTQ file";
    const std::string bad_qualities = "the qualities of sequence 'a' are not as many as its bases";
    const std::pair<std::string, Loaded> cases[] = {
        {one + two, {3, ""}},
        {one + two + std::string(1000, '\0'), {3, ""}},
        {"\r\n\n>a\nACGT\n>b\nACGT\n", {2, ""}},
        {"", {0, ""}},
        {good + ">two\nACGT\n",
         {3, "warning: several sequences are named 'two'; records and figures cannot tell them apart"}},
        {one + no_member, {kRefused, bad_gzip + "incorrect header check)"}},
        {one + ">b\nACGT\n", {kRefused, bad_gzip + "something else follows them)"}},
        {one + std::string(9, '\0') + two, {kRefused, bad_gzip + "something else follows them)"}},
        {damaged, {kRefused, bad_gzip + "incorrect data check)"}},
        {one + two.substr(0, 1), {kRefused, too_early}},
        {one.substr(0, one.size() - 20), {kRefused, too_early}},
        {">a\nACGT\n>*\nACGT\n", {kRefused, "holds a sequence named '*', which SAM keeps for unmapped reads"}},
        {">a\x01\nACGT\n", {kRefused, bad_name}},
        {">a\nACGT\n> b\nACGT\n", {kRefused, "holds a sequence without a name"}},
        {">a\nAC\x01GT\n", {kRefused, "sequence 'a' holds bytes that are no bases"}},
        {"@a\nACGT\n+\nIII", {kRefused, bad_qualities}},
        {"\x07\x81 noise", {kRefused, no_fasta}},
        {"MMI\2", {kRefused, index + "ends too early"}},
    };
    for (const auto& [content, expected] : cases) {
        EXPECT_EQ(LoadedFrom(folder.Write("reference", content)), expected) << content.substr(0, 9);
    }
    EXPECT_EQ(LoadedFrom(folder.Path("none")), Loaded(kRefused, "No such file or directory"));
    EXPECT_EQ(LoadedFrom(folder.Path(".")), Loaded(kRefused, "is a folder"));
    EXPECT_EQ(LoadedFrom(BuildIndex("-I 1k", reference, "parts.mmi")),
              Loaded(kRefused, index + "has several parts; build it with a larger -I"));
    EXPECT_EQ(LoadedFrom(BuildIndex("--idx-no-seq", reference, "bare.mmi")),
              Loaded(kRefused, index + "was built without its sequences, which alignment needs"));
}

// A prebuilt index that is cut anywhere is refused. One flipped byte is found or harmless, but never fatal.
TEST_F(QelMinimap2, DamagedIndexesAreRefusedOrWork) {
    const auto small = folder.Write("small.fa", ">s\n" + RandomBases(400) + "\n>t\n" + RandomBases(90) + "\n");
    const auto good = Tests::ReadAll(BuildIndex("", small, "small.mmi"));
    ASSERT_GT(good.size(), 1000U);
    testing::internal::CaptureStderr();
    for (std::size_t i = 0; i < 200; ++i) {
        const auto cut = i < 60 ? i : Random() % good.size();
        // An empty file is a reference of 0 sequences.
        EXPECT_EQ(Load(folder.Write("cut.mmi", good.substr(0, cut))) == nullptr, cut != 0) << cut;
        auto flipped = good;
        const auto at = i < 60 ? i : Random() % good.size();
        flipped[at] = static_cast<char>(flipped[at] ^ (1 << Random() % 8));
        if (const auto index = Load(folder.Write("flipped.mmi", flipped))) {
            Align(index.get(), 0, reads[0]);
        }
    }
    testing::internal::GetCapturedStderr();
}

// Windows, k-mer sizes and references that are hard on minimizers: none of them is taken for damage, and a
// header that says something else than the truth is.
TEST_F(QelMinimap2, AnIndexIsOfItsOwnSequences) {
    std::string islands, repeats;
    for (std::size_t i = 0; i < 60; ++i) {
        islands += RandomBases(37 * i % 900) + std::string(53 * i % 1500, 'N');
        repeats += RandomBases(300) + std::string(41 * i % 600, 'A');
    }
    const auto fasta =
        folder.Write("hard.fa", ">long\n" + RandomBases(50000) + "\n>islands\n" + islands + "\n>none\n\n>repeats\n" +
                                    repeats + "\n>one\nA\n>last\n" + RandomBases(3001) + "\n");
    for (const std::string options : {"-k15 -w10", "-k14 -w10 -H", "-k28 -w1", "-k19 -w19", "-k8 -w40 -H"}) {
        const auto path = BuildIndex(options, fasta, "index.mmi");
        EXPECT_EQ(LoadedFrom(path), Loaded(6, "")) << options;

        const auto index = Tests::ReadAll(path);
        constexpr std::size_t kWindow = 4, kMerSize = 8, kFlags = 20, kFirstNameLength = 24, kFirstName = 25;
        ASSERT_EQ(index[kFirstNameLength], 4);
        for (const auto offset : {kWindow, kMerSize, kFlags, kFirstName + 4}) {
            for (const int change : {-1, 1, 100}) {
                auto wrong = index;
                wrong[offset] = static_cast<char>(wrong[offset] + change);
                EXPECT_EQ(LoadedFrom(folder.Write("wrong.mmi", wrong)).first, kRefused)
                    << options << ": " << change << " at " << offset;
            }
        }
        auto unnamed = index;
        unnamed[kFirstName + 1] = '\0';
        EXPECT_EQ(LoadedFrom(folder.Write("unnamed.mmi", unnamed)),
                  Loaded(kRefused, "the minimap2 index holds a sequence whose name has blanks or control characters"));
    }
}

}  // namespace
