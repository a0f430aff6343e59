// Damage that leaves a reference which loads and maps, but is not the one that was meant.

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "third_party_alignment/qel_minimap2/qel_minimap2.h"

namespace {

void Shell(const std::string& command) {
    ASSERT_EQ(std::system(command.c_str()), 0) << command;  // NOLINT(cert-env33-c): a test's own command.
}

std::string RandomBases(std::size_t count) {
    static unsigned state = 1;
    return Tests::RandomBases(state, count);
}

// The number of sequences loaded and what was said, path and prefix cut off.
struct Loaded {
    int sequences;
    std::string said;
    bool operator==(const Loaded&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Loaded& loaded) {
    return stream << loaded.sequences << " sequences, said: " << loaded.said;
}

constexpr int kRefused = -1;

Loaded Load(const std::string& path) {
    testing::internal::CaptureStderr();
    const std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)> index(qelmm_load_index(path.c_str()),
                                                                         &qelmm_unload_index);
    const auto said = testing::internal::GetCapturedStderr();
    const auto start = std::string("libqel_minimap2: " + path + ": ").size();
    return {index ? static_cast<int>(index->n_seq) : kRefused,
            said.size() > start ? said.substr(start, said.size() - start - 1) : said};
}

TEST(QelMinimap2Damage, AGzipReferenceIsWholeOrRefused) {
    const Tests::TemporaryFolder folder;
    Shell("gzip -k " + folder.Write("a.fa", ">a\n" + RandomBases(5000) + "\n"));
    Shell("gzip -k " + folder.Write("b.fa", ">b\n" + RandomBases(5000) + "\n"));
    const auto one = Tests::ReadAll(folder.Path("a.fa.gz"));
    const auto two = Tests::ReadAll(folder.Path("b.fa.gz"));
    auto no_member = two;
    no_member[1] = 'x';  // What follows is then no gzip data, which zlib passes over without a word.
    const std::string damaged = "the gzip data are damaged ";
    const struct {
        std::string content;
        Loaded expected;
    } cases[] = {
        {one + two, {2, ""}},
        {one + two + std::string(1000, '\0'), {2, ""}},
        {"\r\n\n>a\nACGT\n>b\nACGT\n", {2, ""}},
        {one + no_member, {kRefused, damaged + "(incorrect header check)"}},
        {one + ">b\nACGT\n", {kRefused, damaged + "(something else follows them)"}},
        {one + std::string(9, '\0') + two, {kRefused, damaged + "(something else follows them)"}},
        {one + two.substr(0, 1), {kRefused, "the gzip data end too early"}},
        {">a\nACGT\n>*\nACGT\n", {kRefused, "holds a sequence named '*', which SAM keeps for unmapped reads"}},
        {">a\x01\nACGT\n", {kRefused, "holds a sequence whose name has blanks or control characters"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Load(folder.Write("reference", c.content)), c.expected) << c.content.substr(0, 9);
    }
}

// Windows, k-mer sizes and references that are hard on minimizers: none of them is taken for damage, and a
// header that says something else than the truth is.
TEST(QelMinimap2Damage, AnIndexIsOfItsOwnSequences) {
    const Tests::TemporaryFolder folder;
    std::string islands, repeats;
    for (std::size_t i = 0; i < 60; ++i) {
        islands += RandomBases(37 * i % 900) + std::string(53 * i % 1500, 'N');
        repeats += RandomBases(300) + std::string(41 * i % 600, 'A');
    }
    const auto reference =
        folder.Write("reference.fa", ">long\n" + RandomBases(50000) + "\n>islands\n" + islands + "\n>none\n\n" +
                                         ">repeats\n" + repeats + "\n>one\nA\n>last\n" + RandomBases(3001) + "\n");
    for (const std::string options : {"-k15 -w10", "-k14 -w10 -H", "-k28 -w1", "-k19 -w19", "-k8 -w40 -H"}) {
        const auto path = folder.Path("index.mmi");
        Shell("minimap2 " + options + " -d " + path + " " + reference + " 2>/dev/null");
        EXPECT_EQ(Load(path), (Loaded{6, ""})) << options;

        const auto index = Tests::ReadAll(path);
        constexpr std::size_t kWindow = 4, kMerSize = 8, kFlags = 20, kFirstNameLength = 24, kFirstName = 25;
        for (const auto offset : {kWindow, kMerSize, kFlags, kFirstName + 4}) {
            for (const int change : {-1, 1, 100}) {
                auto wrong = index;
                wrong[offset] = static_cast<char>(wrong[offset] + change);
                EXPECT_EQ(Load(folder.Write("wrong.mmi", wrong)).sequences, kRefused)
                    << options << ": " << change << " at " << offset;
            }
        }
        auto unnamed = index;
        unnamed[kFirstName + 1] = '\0';
        EXPECT_EQ(
            Load(folder.Write("unnamed.mmi", unnamed)),
            (Loaded{kRefused, "the minimap2 index holds a sequence whose name has blanks or control characters"}));
        ASSERT_EQ(index[kFirstNameLength], 4);
    }
}

}  // namespace
