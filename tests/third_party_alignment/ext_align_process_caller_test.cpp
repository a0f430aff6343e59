#include "third_party_alignment/ext_align_process_caller.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "third_party_alignment/align_read.h"

namespace {

namespace fs = std::filesystem;
using ThirdPartyAlignment::ExtAlignProcessCaller;

// An "aligner" that appends a line to `runs`, fails on its first `failures` runs and then prints its
// arguments and the read.
class FakeAligner {
public:
    explicit FakeAligner(int failures) {
        fs::create_directory(folder.Path("my tools"));
        path = folder.Path("my tools/aligner.sh");
        runs = folder.Path("runs");
        std::ofstream(path) << "#!/bin/sh\necho run >> '" << runs << "'\n"
                            << "test $(wc -l < '" << runs << "') -gt " << failures << " || exit 7\n"
                            << "echo \"$#:$1\"\n[ -z \"$2\" ] || cat \"$2\"\n";
        fs::permissions(path, fs::perms::owner_all);
    }
    std::size_t Runs() const {
        const auto text = Tests::ReadAll(runs);
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }

    std::string path;

private:
    Tests::TemporaryFolder folder;
    std::string runs;
};

TEST(ExtAlignProcessCaller, FailingRunsAreRepeatedElevenTimesInAll) {
    const struct {
        int failures;
        std::size_t runs;
        const char* message;
    } cases[] = {
        {0, 1, nullptr},
        {2, 3, "BWA alignment succeeded eventually on attempt: 3"},
        {10, 11, "BWA alignment succeeded eventually on attempt: 11"},
        {11, 11, "Alignment failed after max_attempts: 10"},  // Ten in the message, eleven runs: deliberate.
    };
    for (const auto& c : cases) {
        const FakeAligner aligner(c.failures);
        const Tests::CapturedLog log;
        ExtAlignProcessCaller caller("/a b", aligner.path, "{executable} {reference} {strand}");
        if (c.failures > 10) {
            const auto error = Tests::ErrorOf([&] { caller.Call("ACGT", "r1"); });
            EXPECT_TRUE(error.ends_with("finished with error code 1792")) << error;
        } else {
            EXPECT_EQ(caller.Call("ACGT", "r1"), "2:/a b\n>r1\nACGT\n");
        }
        EXPECT_EQ(aligner.Runs(), c.runs);
        const auto records = log.Of("verbose");
        const auto alignment_records = std::count_if(records.begin(), records.end(), [](const auto& record) {
            return record.starts_with("BWA") || record.starts_with("Alignment failed");
        });
        EXPECT_EQ(alignment_records, c.message != nullptr ? 1 : 0);
        EXPECT_EQ(std::count(records.begin(), records.end(), c.message != nullptr ? c.message : "-"),
                  alignment_records);
    }
}

TEST(ExtAlignProcessCaller, PlaceholdersAreFilledOnceAndEverywhere) {
    ExtAlignProcessCaller caller("{strand}", "{reference}", "printf '%s|' {executable} {executable} {reference}");
    // The second pass finds the placeholder that the first one inserted, but no pass looks at its own
    // insertions.
    const auto output = caller.Call("A", "r");
    EXPECT_EQ(std::count(output.begin(), output.end(), '|'), 3);
    EXPECT_EQ(output.find("{"), std::string::npos);
    ExtAlignProcessCaller without("", "", "ls *.fasta; echo {other}");
    EXPECT_TRUE(without.Call("A", "r").ends_with(".fasta\n{other}\n")) << "the read is written all the same";
}

TEST(ExtAlignProcessCaller, CopiesHaveFoldersOfTheirOwn) {
    ExtAlignProcessCaller original("", "", "pwd; ls | wc -l");
    auto copy = original.Copy();
    const auto first = original.Call("A", "r");
    const auto second = copy->Call("A", "r");
    EXPECT_NE(first, second);
    EXPECT_TRUE(first.ends_with("\n1\n"));
    EXPECT_EQ(original.Call("A", "r"), first) << "the file of the call before has been deleted";
    const auto folder = second.substr(0, second.find('\n'));
    EXPECT_TRUE(fs::exists(folder));
    copy.reset();
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_EQ(original.Call("A", "r"), first);
}

// A real aligner as the judge of the whole chain: reads of known origin, on both strands, clipped and split.
TEST(ExtAlignProcessCaller, DrivesARealAligner) {
    unsigned state = 11;
    const auto reference = Tests::RandomBases(state, 20000);
    const auto reverse_complement = [](const std::string& bases) {
        std::string result(bases.rbegin(), bases.rend());
        for (auto& base : result) {
            base = base == 'A' ? 'T' : base == 'C' ? 'G' : base == 'G' ? 'C' : 'A';
        }
        return result;
    };
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("reference.fa", ">chr1\n" + reference + "\n");
    ASSERT_EQ(std::system(("bwa index " + path + " 2> /dev/null").c_str()), 0) << "Debian package bwa";

    ExtAlignProcessCaller caller(path, "bwa", "{executable} mem {reference} {strand}");
    const auto forward = reference.substr(5000, 600);
    // The first 700 bases and, behind them, 400 from elsewhere: a supplementary record with hard clips and
    // SA.
    const auto split = reference.substr(1000, 700) + reverse_complement(reference.substr(15000, 400));
    const struct {
        std::string name, bases, genome;
        std::int32_t start, end, aligned;
    } cases[] = {
        {"forward", forward, "chr1", 5001, 5601, 600},
        {"reverse", reverse_complement(forward), "chr1_rc", 5001, 5601, 600},
        {"split", split, "chr1", 1001, 1701, 700},
        {"nowhere", std::string(100, 'A'), "*", -1, -1, -1},
    };
    for (const auto& c : cases) {
        const auto result = ThirdPartyAlignment::AlignRead(&caller, c.bases, c.name, false, 0.5F);
        EXPECT_EQ(result.genome, c.genome) << result.sam_record;
        EXPECT_EQ(result.genome_start, c.start) << c.name;
        EXPECT_NEAR(result.genome_end, c.end, c.name == "split" ? 3 : 0) << c.name;
        EXPECT_NEAR(result.num_aligned, c.aligned, c.name == "split" ? 3 : 0) << c.name;
    }
    const auto sam = ThirdPartyAlignment::AlignRead(&caller, split, "split", false, 0.5F).sam_record;
    EXPECT_NE(sam.find("\tSA:Z:"), std::string::npos);
    EXPECT_NE(sam.find("700H"), std::string::npos) << "the supplementary line is kept as it is";
}

}  // namespace
