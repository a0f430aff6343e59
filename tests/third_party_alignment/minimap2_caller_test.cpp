#include "third_party_alignment/minimap2_caller.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "third_party_alignment/align_read.h"
#include "third_party_alignment/qel_minimap2/qel_minimap2.h"

// This program brings its own wrapper functions, which take precedence over the library's: what the wrapper
// answers, and how often it is asked, is the test's to say.
namespace {

struct FakeWrapper {
    std::vector<mm_idx_seq_t> sequences;
    bool loads = true;
    const char* answer = nullptr;
    int loaded = 0;
    int unloaded = 0;
    std::int32_t threshold_given = -1;
    std::string last_read;
    mm_idx_t index{};
};

FakeWrapper* fake = nullptr;

}  // namespace

extern "C" mm_idx_t* qelmm_load_index(const char*) {
    ++fake->loaded;
    fake->index.n_seq = static_cast<std::uint32_t>(fake->sequences.size());
    fake->index.seq = fake->sequences.data();
    return fake->loads ? &fake->index : nullptr;
}
extern "C" std::int32_t qelmm_cache_idx_occ_thres(const mm_idx_t*) {
    return 77;
}
extern "C" char* qelmm_align(const mm_idx_t*, std::int32_t threshold, mm_bseq1_t read) {
    fake->threshold_given = threshold;
    fake->last_read = std::string(read.name) + "/" + std::string(read.seq, static_cast<std::size_t>(read.l_seq));
    EXPECT_EQ(read.qual, nullptr);
    // Failure texts are the wrapper's own: the caller does not free them.
    const bool record = fake->answer != nullptr && *fake->answer != '\0' && *fake->answer != 'E';
    return record ? strdup(fake->answer) : const_cast<char*>(fake->answer);
}
extern "C" void qelmm_unload_index(mm_idx_t*) {
    ++fake->unloaded;
}
extern "C" char* qelmm_test();

namespace {

using Tests::ErrorOf;
using ThirdPartyAlignment::Minimap2Caller;

class Minimap2CallerTest : public testing::Test {
protected:
    Minimap2CallerTest() { fake = &wrapper; }

    std::vector<char> chr1{'c', 'h', 'r', '1', '\0'};
    std::vector<char> chr2 = std::vector<char>(2000, 'x');
    FakeWrapper wrapper;
    Tests::TemporaryFolder folder;
    std::string path = folder.Write("reference.mmi", "");
};

TEST_F(Minimap2CallerTest, NeedsARegularFile) {
    for (const auto& bad : {folder.Path("none"), folder.Path(".")}) {
        EXPECT_EQ(ErrorOf([&] { Minimap2Caller caller(bad); }), "Aligner index file " + bad + " does not exist!");
    }
}

TEST_F(Minimap2CallerTest, FailedLoadsAreTriedAgainAndEmptyIndexesStayRefused) {
    const Minimap2Caller caller(path);
    wrapper.loads = false;
    EXPECT_EQ(ErrorOf([&] { caller.LoadIndex(); }), "Could not load index " + path);
    wrapper.loads = true;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ErrorOf([&] { caller.LoadIndex(); }), "Minimap2 index contains 0 sequences.");
    }
    EXPECT_EQ(wrapper.loaded, 2);
}

TEST_F(Minimap2CallerTest, AnswersAreJudged) {
    wrapper.sequences = {{chr1.data(), 0, 1000, 0}};
    Minimap2Caller caller(path);
    const struct {
        const char *answer, *error;
    } cases[] = {
        {nullptr, "Minimap2 returned NULL string"},
        {"", "Minimap2 returned empty string"},
        {"ERROR: no memory", "Minimap2 returned:  no memory"},
    };
    for (const auto& c : cases) {
        wrapper.answer = c.answer;
        EXPECT_EQ(ErrorOf([&] { caller.Call("ACGU", "r1"); }), c.error);
    }
    wrapper.answer = "r1\t4\t*\t0\t0\t*\t*\t0\t0\tACGT\t*\n";
    EXPECT_EQ(caller.Call("ACGU", "r1"), std::string("@SQ\tSN:chr1\tLN:1000\n") + wrapper.answer);
    EXPECT_EQ(wrapper.last_read, "r1/ACGU");
    EXPECT_EQ(wrapper.threshold_given, 77);
    EXPECT_EQ(wrapper.loaded, 1);
}

TEST_F(Minimap2CallerTest, HeaderHasOneLinePerSequenceWhateverTheLength) {
    chr2.push_back('\0');
    wrapper.sequences = {{chr1.data(), 0, 1000, 0}, {chr2.data(), 0, 20, 0}};
    const Minimap2Caller caller(path);
    const std::string header = "@SQ\tSN:chr1\tLN:1000\n@SQ\tSN:" + std::string(2000, 'x') + "\tLN:20";
    EXPECT_EQ(caller.GetSamHeader(), header);
    const auto rejected = caller.CreateUnalignedResult("r1");
    EXPECT_EQ(rejected.sam_record, header + "\nr1\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n");
    EXPECT_EQ(rejected.genome_start, 0);
}

TEST_F(Minimap2CallerTest, CopiesShareTheIndexButNotTheThreshold) {
    wrapper.sequences = {{chr1.data(), 0, 1000, 0}};
    wrapper.answer = "record\n";
    const Tests::CapturedLog log;
    {
        const Minimap2Caller original(path);
        const auto early = original.Copy();
        original.LoadIndex();
        const auto late = original.Copy();
        early->Call("A", "r");
        EXPECT_EQ(wrapper.threshold_given, 0) << "deliberate: the threshold belongs to the caller that loaded";
        late->Call("A", "r");
        EXPECT_EQ(wrapper.threshold_given, 77);
        EXPECT_EQ(wrapper.loaded, 1);
    }
    EXPECT_EQ(wrapper.unloaded, 1);
    const auto records = log.Of("verbose");
    const std::string end = "~Minimap2Caller() called. References to index: ";
    EXPECT_EQ(std::vector<std::string>(records.end() - 3, records.end()),
              (std::vector<std::string>{end + "3", end + "2", end + "1"}));
}

TEST_F(Minimap2CallerTest, AlignReadReplacesPoorCoverageButNotNone) {
    wrapper.sequences = {{chr1.data(), 0, 1000, 0}};
    Minimap2Caller caller(path);
    const std::string bases = "AACGTACGTT";
    const struct {
        const char* cigar;
        float threshold;
        bool kept;
    } cases[] = {
        {"6M4S", 0.6F, false},   {"7M3S", 0.6F, true},
        {"6M4S", 0.5999F, true}, {"10S", 0.6F, true},  // Nothing aligned: the aligner's own record stays. Deliberate.
        {"1M9S", 0.0F, true},    {"10M", 1.0F, false},
    };
    for (const auto& c : cases) {
        const auto record =
            "r\t0\tchr1\t5\t60\t" + std::string(c.cigar) + "\t*\t0\t0\t" + bases + "\t*\tNM:i:0\tAS:i:3\n";
        wrapper.answer = record.c_str();
        const auto result = ThirdPartyAlignment::AlignRead(&caller, bases, "r", false, c.threshold);
        EXPECT_EQ(result.genome == "chr1", c.kept) << c.cigar;
        EXPECT_EQ(result.strand_score, c.kept ? 3 : -1) << c.cigar;
    }
    wrapper.answer = "r\t4\t*\t0\t0\t*\t*\t0\t0\tA\t*\n";
    ThirdPartyAlignment::AlignRead(&caller, bases, "r", true, 0.6F);
    EXPECT_EQ(wrapper.last_read, "r/TTGCATGCAA") << "reversed, not complemented";
}

TEST_F(Minimap2CallerTest, ExportedGreetingIsTheCallersToFree) {
    const std::unique_ptr<char, decltype(&std::free)> text(qelmm_test(), &std::free);
    EXPECT_STREQ(text.get(), "Hello World.");
}

}  // namespace
