#include "third_party_alignment/minimap2_caller.h"

#include <chrono>
#include <cstring>
#include <thread>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>

#include "qel_minimap2/qel_minimap2.h"
#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "third_party_alignment/align_read.h"
#include "third_party_alignment/sam_header.h"

// This program defines its own wrapper functions, which take precedence over those of the wrapper library, so that the
// tests control the answers and count the calls.
namespace {

struct FakeWrapper {
    std::vector<mm_idx_seq_t> sequences;
    bool loads = true;
    const char* answer = nullptr;
    int loaded = 0;
    int unloaded = 0;
    std::int32_t threshold_given = -1;
    std::string last_read;
    char* given = nullptr;  // The most recent answer; `freed` counts the calls that free an answer.
    int freed = 0;
    mm_idx_t index{};
} fake;

}  // namespace

extern "C" mm_idx_t* qelmm_load_index(const char*) {
    ++fake.loaded;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    fake.index.n_seq = static_cast<std::uint32_t>(fake.sequences.size());
    fake.index.seq = fake.sequences.data();
    return fake.loads ? &fake.index : nullptr;
}
extern "C" std::int32_t qelmm_cache_idx_occ_thres(const mm_idx_t*) {
    return 77;
}
extern "C" char* qelmm_align(const mm_idx_t*, std::int32_t threshold, mm_bseq1_t read) {
    fake.threshold_given = threshold;
    fake.last_read = std::string(read.name) + "/" + std::string(read.seq, static_cast<std::size_t>(read.l_seq));
    EXPECT_EQ(read.qual, nullptr);
    // The wrapper owns the texts of errors, so the caller must not free them.
    const bool record = fake.answer != nullptr && *fake.answer != '\0' && *fake.answer != 'E';
    fake.given = record ? strdup(fake.answer) : const_cast<char*>(fake.answer);
    return fake.given;
}
// The linker replaces free with __wrap_free.
extern "C" void __real_free(void* memory);
extern "C" void __wrap_free(void* memory) {
    fake.freed += static_cast<int>(memory != nullptr && memory == fake.given);
    __real_free(memory);
}
extern "C" void qelmm_unload_index(mm_idx_t*) {
    ++fake.unloaded;
}

namespace {

using Tests::ErrorOf;
using ThirdPartyAlignment::Minimap2Caller;

// Code that takes the address of one of these functions depends on its exact type.
static_assert(std::is_same_v<decltype(&Minimap2Caller::LoadIndex), void (Minimap2Caller::*)()>);
static_assert(std::is_same_v<decltype(&Minimap2Caller::GetSamHeader), std::string (Minimap2Caller::*)()>);

class Minimap2CallerTest : public testing::Test {
protected:
    Minimap2CallerTest() {
        fake = {};
        fake.sequences = {{chr1.data(), 0, 1000, 0}};
    }

    std::string chr1 = "chr1";
    std::string chr2 = std::string(2000, 'x');
    Tests::TemporaryFolder folder;
    std::string path = folder.Write("reference.mmi", "");
};

TEST_F(Minimap2CallerTest, FailedLoadsAreTriedAgainAndEmptyIndexesStayRefused) {
    for (const auto& bad : {folder.Path("none"), folder.Path(".")}) {
        EXPECT_EQ(ErrorOf([&] { Minimap2Caller caller(bad); }), "Aligner index file " + bad + " does not exist!");
    }
    Minimap2Caller caller(path);
    fake.loads = false;
    fake.sequences.clear();
    EXPECT_EQ(ErrorOf([&] { caller.LoadIndex(); }), "Could not load index " + path);
    fake.loads = true;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ErrorOf([&] { caller.LoadIndex(); }), "Minimap2 index contains 0 sequences.");
    }
    EXPECT_EQ(fake.loaded, 2);
}

TEST_F(Minimap2CallerTest, ConcurrentThreadsLoadTheIndexOnce) {
    Minimap2Caller caller(path);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] { EXPECT_EQ(caller.GetSamHeader(), "@SQ\tSN:chr1\tLN:1000"); });
    }
    threads.clear();
    EXPECT_EQ(fake.loaded, 1);
}

TEST_F(Minimap2CallerTest, BadAnswersAreErrors) {
    Minimap2Caller caller(path);
    EXPECT_EQ(ErrorOf([&] { caller.Call("ACGU", "r1"); }), "Minimap2 returned NULL string");
    fake.answer = "";
    EXPECT_EQ(ErrorOf([&] { caller.Call("ACGU", "r1"); }), "Minimap2 returned empty string");
    fake.answer = "ERROR: no memory";
    EXPECT_EQ(ErrorOf([&] { caller.Call("ACGU", "r1"); }), "Minimap2 returned:  no memory");
    EXPECT_EQ(fake.freed, 0) << "the caller does not own these answers";
    fake.answer = "r1\t4\t*\t0\t0\t*\t*\t0\t0\tACGT\t*\n";
    EXPECT_EQ(caller.Call("ACGU", "r1"), std::string("@SQ\tSN:chr1\tLN:1000\n") + fake.answer);
    EXPECT_EQ(fake.freed, 1);
    EXPECT_EQ(fake.last_read, "r1/ACGU");
    EXPECT_EQ(fake.threshold_given, 77);
    EXPECT_EQ(fake.loaded, 1);
}

TEST_F(Minimap2CallerTest, HeaderHasOneLinePerSequenceWhateverTheLength) {
    fake.sequences.push_back({chr2.data(), 0, 20, 0});
    Minimap2Caller caller(path);
    const auto header = "@SQ\tSN:chr1\tLN:1000\n@SQ\tSN:" + chr2 + "\tLN:20";
    EXPECT_EQ(caller.GetSamHeader(), header);
    const auto rejected = caller.CreateUnalignedResult("r1");
    EXPECT_EQ(rejected.sam_record, header + "\nr1\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n");
    EXPECT_EQ(rejected.genome_start, 0);
}

TEST_F(Minimap2CallerTest, CopiesShareTheIndexButNotTheThreshold) {
    fake.answer = "record\n";
    const Tests::CapturedLog log;
    {
        Minimap2Caller original(path);
        const auto early = original.Copy();
        original.LoadIndex();
        const auto late = original.Copy();
        early->Call("A", "r");
        EXPECT_EQ(fake.threshold_given, 0) << "deliberate: a copy made before the index was loaded has no threshold";
        late->Call("A", "r");
        EXPECT_EQ(fake.threshold_given, 77);
        EXPECT_EQ(fake.loaded, 1);
    }
    EXPECT_EQ(fake.unloaded, 1);
    const auto records = log.Of("verbose");
    const std::string end = "~Minimap2Caller() called. References to index: ";
    EXPECT_EQ(Tests::Lines(records.end() - 3, records.end()), (Tests::Lines{end + "3", end + "2", end + "1"}));
}

TEST_F(Minimap2CallerTest, AlignReadRejectsLowCoverageButNotZeroCoverage) {
    Minimap2Caller caller(path);
    const std::string bases = "AACGTACGTT" + std::string(990, 'A');
    // Deliberate: a record without aligned bases is kept.
    const std::tuple<std::string, float, bool> cases[] = {
        {"600M400S", 0.6F, false}, {"601M399S", 0.6F, true}, {"600M400S", 0.5999F, true}, {"1M999S", 0.0F, true},
        {"1M999S", 0.01F, false},  {"1000M", 1.0F, false},   {"1000S", 0.6F, true},
    };
    for (const auto& [cigar, threshold, kept] : cases) {
        const auto record = "r\t0\tchr1\t5\t60\t" + cigar + "\t*\t0\t0\t" + bases + "\t*\tNM:i:0\tAS:i:3\n";
        fake.answer = record.c_str();
        const auto result = ThirdPartyAlignment::AlignRead(&caller, bases, "r", false, threshold);
        EXPECT_EQ(result.genome, kept ? "chr1" : "*") << cigar;
        EXPECT_EQ(result.strand_score, kept ? 3 : -1) << cigar;
    }
    fake.answer = "r\t4\t*\t0\t0\t*\t*\t0\t0\tA\t*\n";
    ThirdPartyAlignment::AlignRead(&caller, "AACGTACGTT", "r", true, 0.6F);
    EXPECT_EQ(fake.last_read, "r/TTGCATGCAA") << "the read must be reversed but not complemented";
}

class OverridingCaller : public Minimap2Caller {
public:
    using Minimap2Caller::Minimap2Caller;
    std::string Call(const std::string& /*sequence*/, const std::string& read_name) override {
        return read_name + "\t0\tchr1\t8\t0\t9M\t*\t0\t0\tAC\t*\tNM:i:0\tAS:i:5\n";
    }
};

// Returns the members of the result of `align`, followed by the error. The record lacks its header lines.
std::vector<std::pair<std::string, Common::Value>> Outcome(auto align) {
    std::vector<std::pair<std::string, Common::Value>> entries;
    const auto error = ErrorOf([&] { entries = align().ToValueMap().Entries(); });
    for (auto& [key, value] : entries) {
        if (auto* text = std::get_if<std::string>(&value)) {
            text->erase(0, ThirdPartyAlignment::SamHeader::EndOfHeaderLines(*text));
        }
    }
    entries.emplace_back("error", error);
    return entries;
}

TEST_F(Minimap2CallerTest, AlignReadToLinesDiffersFromAlignReadOnlyInTheHeader) {
    const std::string end = "\t*\t0\t0\tACGT\t*\tNM:i:1\tAS:i:9\n";
    const std::string mapped = "r\t0\tchr1\t5\t60\t5S700M" + end + "r\t256\tchr1\t9\t0\t9M" + end;
    const std::string records[] = {
        mapped,
        "@" + mapped,  // Its first line is parsed as a header line.
        "r\t16\ttwice\t5\t60\t30M" + end,
        "r\t0\tchr1\t5\t60\t500M" + end,  // Rejected.
        "r\t4\t*\t0\t0\t*\t*\t0\t0\n",    // Completed.
        "r\t0\tchr1\t5\t60\t9=" + end,
        "r\t0\tunknown\t5\t60\t9M" + end,
    };
    const std::string bases(1000, 'A');
    std::string twice = "twice";
    std::string with_a_line_end = "twice\n";
    fake.sequences.insert(fake.sequences.end(), {{twice.data(), 0, 9, 0}, {twice.data(), 0, 40, 0}});
    for (const bool alone : {true, false}) {
        if (!alone) {
            fake.sequences.push_back({with_a_line_end.data(), 0, 900, 0});
        }
        Minimap2Caller minimap2(path);
        OverridingCaller derived(path);
        EXPECT_EQ(minimap2.Header().StandsAlone(), alone);
        for (const auto& record : records) {
            fake.answer = record.c_str();
            for (ThirdPartyAlignment::ExtAlignCaller* caller : {&minimap2, static_cast<Minimap2Caller*>(&derived)}) {
                const auto lines = [&] { return ThirdPartyAlignment::AlignReadToLines(caller, bases, "r", 0.6F); };
                const auto whole = [&] { return ThirdPartyAlignment::AlignRead(caller, bases, "r", false, 0.6F); };
                EXPECT_EQ(Outcome(lines), Outcome(whole)) << record;
            }
        }
        for (const auto& accepted_or_rejected : {mapped, records[3]}) {
            fake.answer = accepted_or_rejected.c_str();
            const auto result = ThirdPartyAlignment::AlignReadToLines(&minimap2, bases, "r", 0.6F);
            EXPECT_NE(result.sam_record.starts_with('@'), alone)
                << "a record has the header only if the header does not stand alone";
        }
    }
}

}  // namespace
