#include "third_party_alignment/sam_handler.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <stdexcept>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/texts.h"
#include "third_party_alignment/sam_header.h"

namespace {

using Tests::Lines;
using ThirdPartyAlignment::AlignmentResult;
using ThirdPartyAlignment::SamHandler;
using ThirdPartyAlignment::SamHeader;

const std::string kHeader = "@SQ\tSN:chr1\tLN:1000\n";

std::string Record(const std::string& flag, const std::string& cigar, const std::string& optional_fields) {
    const std::string bases(111, 'A');
    return "r1\t" + flag + "\tchr1\t100\t60\t" + cigar + "\t*\t0\t0\t" + bases + "\t*" + optional_fields;
}

AlignmentResult Parse(std::string sam) {
    return SamHandler::Parse(std::move(sam), 111);
}

TEST(SamHandler, AMappedRecordGivesItsFiguresAndTheReverseStrandAppendsRc) {
    for (const auto& [flag, genome] : {std::pair("0", "chr1"), std::pair("16", "chr1_rc")}) {
        const auto sam = kHeader + Record(flag, "5S90M2I3D10M4S", "\tNM:i:7\tAS:i:150\n") + "further lines stay";
        // The genome, the start and end on it, the start and end in the strand; events, insertions, deletions, aligned
        // and correct bases; coverage, identity, accuracy; score; record.
        const AlignmentResult expected{genome,         100, 203, 5, 107, 111, 2, 3, 100, 98, 100.0F / 111.0F, 0.98F,
                                       98.0F / 105.0F, 150, sam};
        EXPECT_EQ(Parse(sam).ToValueMap().Entries(), expected.ToValueMap().Entries());
    }
}

TEST(SamHandler, AnyWhiteSpaceOrTheEndEndsAWord) {
    for (const char blank : {' ', '\t', '\n', '\v', '\f', '\r'}) {
        auto columns = Record("0", "5S106M", "");
        std::replace(columns.begin(), columns.end(), '\t', blank);
        const AlignmentResult expected{"chr1",
                                       100,
                                       206,
                                       5,
                                       111,
                                       111,
                                       0,
                                       0,
                                       106,
                                       106,
                                       106.0F / 111.0F,
                                       1.0F,
                                       1.0F,
                                       1234,
                                       kHeader + columns + "\tNM:i:0\tAS:i:1234"};
        EXPECT_EQ(Parse(expected.sam_record).ToValueMap().Entries(), expected.ToValueMap().Entries()) << int{blank};
    }
}

TEST(SamHandler, UnmappedRecordKeepsTheDefaultsAndIsCompleted) {
    const std::string bare = "r1\t4\t*\t0\t0\t*\t*\t0\t0";
    const std::tuple<std::string, std::string, Lines> cases[] = {
        {bare + "\n", bare + "\t*\t*\n", {}},
        // Without a line feed at the end, nothing is added.
        {bare, bare, {"Attempted to fix invalid SAM but format not as expected"}},
        {bare + "\tACGT\t*\trl:i:0\n", bare + "\tACGT\t*\trl:i:0\n", {}},
        {bare + "\tACGT\t*\tnonsense\n", bare + "\tACGT\t*\tnonsense\n", {}},
        {"r1\tx\tchr1\t5\n", "r1\tx\tchr1\t5\t*\t*\n", {}},  // A FLAG that is not a number ends the parsing.
    };
    for (const auto& [sam, kept, messages] : cases) {
        const Tests::CapturedLog log;
        AlignmentResult expected;
        expected.genome_start = -1;
        expected.sam_record = kHeader + kept;
        EXPECT_EQ(Parse(kHeader + sam).ToValueMap().Entries(), expected.ToValueMap().Entries()) << sam;
        EXPECT_EQ(log.Of("verbose"), messages);
    }
}

TEST(SamHandler, OnlyALeadingClipMovesTheStart) {
    // Start in the strand; aligned, inserted and deleted bases.
    using Figures = std::array<std::int32_t, 4>;
    const std::pair<const char*, Figures> cases[] = {
        {"3H5S10M", {3, 10, 0, 0}}, {"10M7S", {0, 10, 0, 0}},        {"7S", {7, 0, 0, 0}},
        {"2I3M1D4M", {0, 7, 2, 1}}, {"4294967295M3M", {0, 2, 0, 0}},  // 32-bit sums wrap.
    };
    for (const auto& [cigar, figures] : cases) {
        const auto r = Parse(kHeader + Record("0", cigar, "\tNM:i:0\tAS:i:1\n"));
        EXPECT_EQ((Figures{r.strand_start, r.num_aligned, r.num_insertions, r.num_deletions}), figures) << cigar;
    }
}

TEST(SamHandler, FaultsAreNamed) {
    const std::string cigar_error = "Currently only supporting HSIDM in SAM cigar string.";
    const std::pair<std::string, std::string> cases[] = {
        {Record("0", "5=1X", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "*", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "5M3", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "M", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "5M", "\tAS:i:1\n"), "map::at"},
        {Record("0", "5M", "\tNM:i:1\n"), "map::at"},
        {Record("0", "5M", "\tNM:i:x\tAS:i:1\n"), "stoi"},
        {Record("0", "5M", "\tNM:i:1\tAS:i\n"), "optional SAM field 'AS:i' could not be parsed."},
        {Record("0", "5M", "\tNM:i:1\tAS:i:1\t\n"), "optional SAM field '' could not be parsed."},
        {Record("0", "5M", "\tNM:i:1\tAS:i1\n"), "optional SAM field 'AS:i1' could not be parsed."},
        {Record("0", "5M", "\tNM:i:1\tASxi:1\n"), "optional SAM field 'ASxi:1' could not be parsed."},
        // Of several fields with one tag, the last one counts.
        {Record("0", "5M", "\tNM:i:x\tNM:i:1\tXX:Z:\tAS:i:1\n"), "nothing thrown"},
        {Record("0", "5M", "\tNM:i:1\tAS:i:1"), "nothing thrown"},
        {Record("0", "5M", "\tNM:i:1\tAS:i:1\r\n"), "nothing thrown"},
        {"@SQ\tSN:a\tLN:x\n" + Record("4", "5M", "\n"), "stoi"},
        {"@SQ\tSN:a\tLN:99999999999\n" + Record("4", "5M", "\n"), "stoi"},
        {"@HD\tVN:1.6\tSO:x\n@PG\tID:y\tPN:z\n" + Record("0", "5M", "\tNM:i:1\tAS:i:1\n"), "nothing thrown"},
    };
    for (const auto& [sam, error] : cases) {
        EXPECT_EQ(Tests::ErrorOf([&, &text = sam] { Parse(text); }), error) << sam;
    }
    EXPECT_THROW(Parse("@SQ\tSN:a\tLN\n" + Record("4", "5M", "\n")), std::out_of_range);
}

TEST(SamHandler, HeaderWordsAreTakenByPositionAndAcrossLines) {
    const std::pair<std::string, float> cases[] = {
        {"@SQ\tSN:chr1\tLN:60\tM5:abc\n", 50.0F / 60.0F},
        {"@SQ\tSN:chr1\tLN:60\n@SQ\tSN:chr1\tLN:80\n", 50.0F / 80.0F},  // The later line counts.
        {"@SQ\tSN:chr1\tLN:900\n", 50.0F / 111.0F},
        {"@CO\n@SQ\tSN:chr1\tLN:60\n", INFINITY},  // The short line took the words "@SQ" and "SN:chr1".
        {"@SQ\tXX:chr1\tYY:60z\n", 50.0F / 60.0F},
        {"", INFINITY},
    };
    for (const auto& [header, coverage] : cases) {
        EXPECT_EQ(Parse(header + Record("0", "50M", "\tNM:i:0\tAS:i:9\n")).coverage, coverage) << header;
    }
}

// A large header is parsed once and then recognised; a text that merely resembles it must not be mistaken for it.
TEST(SamHandler, ALargeHeaderIsRecognisedOnlyIfItIsIdentical) {
    std::string header;
    for (int i = 0; i < 2000; ++i) {
        header += "@SQ\tSN:c" + std::to_string(i) + "\tLN:" + std::to_string(1000 + i) + "\n";
    }
    const std::string record = "r\t0\tc7\t1\t0\t50M\t*\t0\t0\tAC\t*\tNM:i:0\tAS:i:1\n";
    const std::string unknown = "r\t0\tzz\t1\t0\t50M\t*\t0\t0\tAC\t*\tNM:i:0\tAS:i:1\n";
    // Parse reads three words for each header line, so it takes the second line too; EndOfHeaderLines does not.
    const auto taken = "@CO\ntwo words\n" + header;
    const auto coverage = [](const std::string& sam) { return SamHandler::Parse(std::string(sam), 1 << 30).coverage; };
    std::string other = header;
    other.replace(other.find("LN:1007"), 7, "LN:5000");

    for (const auto* const how : {"read", "recognised"}) {
        EXPECT_EQ(coverage(header + "@SQ\tSN:c7\tLN:50\n" + record), 1.0F) << how;
    }
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                EXPECT_EQ(coverage(header + record), 50.0F / 1007.0F);
                EXPECT_EQ(coverage(other + record), 50.0F / 5000.0F);
                EXPECT_EQ(coverage(header + unknown), INFINITY);
                EXPECT_EQ(coverage(taken + record), 50.0F / 1007.0F);
                EXPECT_EQ(SamHeader::EndOfHeaderLines(taken + record), 4U);
                EXPECT_EQ(SamHeader::EndOfHeaderLines(header + record), header.size());
                EXPECT_EQ(SamHeader::EndOfHeaderLines(header + "@CO\n" + record), header.size() + 4);
            }
        });
    }
}

// With many reference sequences, every record has the same large header.
TEST(SamHandler, ALargeHeaderIsParsedOnce) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "Sanitizers slow down the comparison of texts more than their parsing.";
#endif
    std::string headers[] = {"@SQ\tSN:a\tLN:1\n", "@SQ\tSN:b\tLN:1\n"};
    for (auto& header : headers) {
        for (int i = 0; i < 3000; ++i) {
            header += "@SQ\tSN:c" + std::to_string(i) + "\tLN:1000\n";
        }
    }
    const auto processor_time = [&](const std::string& one, const std::string& other, const auto& reads) {
        const auto start = std::clock();
        for (int i = 0; i < 100; ++i) {
            reads(i % 2 == 0 ? one : other);
        }
        return std::clock() - start;
    };
    const auto of = [](const std::string& text) { EXPECT_EQ(SamHeader::Of(text)->ReferenceLength("c7"), 1000); };
    const auto end = [](const std::string& text) { EXPECT_EQ(SamHeader::EndOfHeaderLines(text), text.size()); };
    const auto changing = processor_time(headers[0], headers[1], of);
    EXPECT_LT(3 * processor_time(headers[0], headers[0], of), changing);
    const auto unknown = processor_time(headers[1], headers[1], end);
    EXPECT_LT(3 * processor_time(headers[0], headers[0], end), unknown);
}

TEST(AlignmentResult, ValueMapKeepsEveryMemberAndNamesAMissingOne) {
    const AlignmentResult result{"g", 1, 2, 3, 4, 5, 6, 7, 8, 9, 0.5F, 0.25F, 0.125F, 10, "record"};
    const auto entries = result.ToValueMap().Entries();
    // In the order in which ToValueMap sets the keys. All values differ, so that the test notices two swapped members.
    const std::pair<const char*, Common::Value> expected[] = {
        {"genome", "g"},      {"genome_start", 1},      {"genome_end", 2},    {"strand_start", 3},
        {"strand_end", 4},    {"sam_record", "record"}, {"num_events", 5},    {"num_insertions", 6},
        {"num_deletions", 7}, {"num_aligned", 8},       {"num_correct", 9},   {"coverage", 0.5F},
        {"identity", 0.25F},  {"accuracy", 0.125F},     {"strand_score", 10},
    };
    ASSERT_EQ(entries.size(), std::size(expected));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i], std::pair("calibration_strand_" + std::string(expected[i].first), expected[i].second));
    }
    Common::ValueMap values;
    for (const auto& [key, value] : entries) {
        EXPECT_EQ(Tests::ErrorOf([&] { AlignmentResult::FromValueMap(values); }), "Key '" + key + "' not found.");
        values.Set(key, value);
    }
    const auto back = AlignmentResult::FromValueMap(values);
    EXPECT_EQ(back.ToValueMap().Entries(), entries);
    EXPECT_EQ(back.num_deletions, 7);
}

}  // namespace
