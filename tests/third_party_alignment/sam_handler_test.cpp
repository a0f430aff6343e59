#include "third_party_alignment/sam_handler.h"

#include <cmath>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/texts.h"
#include "third_party_alignment/sam_header.h"

namespace {

using ThirdPartyAlignment::AlignmentResult;
using ThirdPartyAlignment::SamHandler;
using ThirdPartyAlignment::SamHeader;

const std::string kHeader = "@SQ\tSN:chr1\tLN:1000\n";
const std::string kBases(111, 'A');

std::string Record(const std::string& flag, const std::string& cigar, const std::string& optional_fields) {
    return "r1\t" + flag + "\tchr1\t100\t60\t" + cigar + "\t*\t0\t0\t" + kBases + "\t*" + optional_fields;
}

AlignmentResult Parse(std::string sam) {
    return SamHandler::Parse(std::move(sam), 111);
}

std::string ErrorOf(const std::string& sam) {
    return Tests::ErrorOf([&] { Parse(sam); });
}

TEST(SamHandler, MappedRecordGivesItsFigures) {
    const auto sam = kHeader + Record("0", "5S90M2I3D10M4S", "\tNM:i:7\tAS:i:150\n");
    const auto result = Parse(sam);
    EXPECT_EQ(result.genome, "chr1");
    EXPECT_EQ(result.genome_start, 100);
    EXPECT_EQ(result.genome_end, 203);
    EXPECT_EQ(result.strand_start, 5);
    EXPECT_EQ(result.strand_end, 107);
    EXPECT_EQ(result.num_events, 111);
    EXPECT_EQ(result.num_insertions, 2);
    EXPECT_EQ(result.num_deletions, 3);
    EXPECT_EQ(result.num_aligned, 100);
    EXPECT_EQ(result.num_correct, 98);
    EXPECT_EQ(result.coverage, 100.0F / 111.0F);
    EXPECT_EQ(result.identity, 0.98F);
    EXPECT_EQ(result.accuracy, 98.0F / 105.0F);
    EXPECT_EQ(result.strand_score, 150);
    EXPECT_EQ(result.sam_record, sam);
}

TEST(SamHandler, ReverseStrandAppendsRcAndKeepsCoordinates) {
    auto forward = Parse(kHeader + Record("0", "5S90M2I3D10M4S", "\tNM:i:7\tAS:i:150\n"));
    auto reverse = Parse(kHeader + Record("16", "5S90M2I3D10M4S", "\tNM:i:7\tAS:i:150\n"));
    EXPECT_EQ(reverse.genome, "chr1_rc");
    reverse.genome = forward.genome;
    reverse.sam_record = forward.sam_record;
    EXPECT_EQ(reverse.ToValueMap().Entries(), forward.ToValueMap().Entries());
}

TEST(SamHandler, UnmappedRecordKeepsTheDefaultsAndIsCompleted) {
    const std::string bare = "r1\t4\t*\t0\t0\t*\t*\t0\t0";
    const struct {
        std::string sam, kept;
        std::size_t messages;
    } cases[] = {
        {bare + "\n", bare + "\t*\t*\n", 0},
        {bare, bare, 1},  // Without a line feed there is no known place for the columns.
        {bare + "\tACGT\t*\trl:i:0\n", bare + "\tACGT\t*\trl:i:0\n", 0},
        {bare + "\tACGT\t*\tnonsense\n", bare + "\tACGT\t*\tnonsense\n", 0},
        {"r1\tx\tchr1\t5\n", "r1\tx\tchr1\t5\t*\t*\n", 0},  // A FLAG that is no number ends the reading.
    };
    for (const auto& c : cases) {
        const Tests::CapturedLog log;
        const auto result = Parse(kHeader + c.sam);
        AlignmentResult expected;
        expected.genome_start = -1;
        expected.sam_record = kHeader + c.kept;
        EXPECT_EQ(result.ToValueMap().Entries(), expected.ToValueMap().Entries()) << c.sam;
        EXPECT_EQ(log.Of("verbose"),
                  std::vector<std::string>(c.messages, "Attempted to fix invalid SAM but format not as expected"));
    }
}

TEST(SamHandler, OnlyALeadingClipMovesTheStart) {
    const struct {
        const char* cigar;
        std::int32_t strand_start, aligned, inserted, deleted;
    } cases[] = {
        {"3H5S10M", 3, 10, 0, 0}, {"10M7S", 0, 10, 0, 0},        {"7S", 7, 0, 0, 0},
        {"2I3M1D4M", 0, 7, 2, 1}, {"4294967295M3M", 0, 2, 0, 0},  // 32-bit sums wrap.
    };
    for (const auto& c : cases) {
        const auto result = Parse(kHeader + Record("0", c.cigar, "\tNM:i:0\tAS:i:1\n"));
        EXPECT_EQ(result.strand_start, c.strand_start) << c.cigar;
        EXPECT_EQ(result.num_aligned, c.aligned) << c.cigar;
        EXPECT_EQ(result.num_insertions, c.inserted) << c.cigar;
        EXPECT_EQ(result.num_deletions, c.deleted) << c.cigar;
    }
}

TEST(SamHandler, FaultsAreNamed) {
    const std::string cigar_error = "Currently only supporting HSIDM in SAM cigar string.";
    const struct {
        std::string sam, error;
    } cases[] = {
        {Record("0", "5=1X", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "*", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "5M3", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "M", "\tNM:i:1\tAS:i:1\n"), cigar_error},
        {Record("0", "5M", "\tAS:i:1\n"), "map::at"},
        {Record("0", "5M", "\tNM:i:1\n"), "map::at"},
        {Record("0", "5M", "\tNM:i:x\tAS:i:1\n"), "stoi"},
        {Record("0", "5M", "\tNM:i:1\tAS:i\n"), "optional SAM field 'AS:i' could not be parsed."},
        {Record("0", "5M", "\tNM:i:1\tAS:i:1\t\n"), "optional SAM field '' could not be parsed."},
        {Record("0", "5M", "\tNM:i:1\tAS:i:1"), "nothing thrown"},
        {Record("0", "5M", "\tNM:i:1\tAS:i:1\r\n"), "nothing thrown"},
        {"@SQ\tSN:a\tLN:x\n" + Record("4", "5M", "\n"), "stoi"},
        {"@SQ\tSN:a\tLN:99999999999\n" + Record("4", "5M", "\n"), "stoi"},
        {"@HD\tVN:1.6\tSO:x\n@PG\tID:y\tPN:z\n" + Record("0", "5M", "\tNM:i:1\tAS:i:1\n"), "nothing thrown"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ErrorOf(c.sam), c.error) << c.sam;
    }
    EXPECT_THROW(Parse("@SQ\tSN:a\tLN\n" + Record("4", "5M", "\n")), std::out_of_range);
}

TEST(SamHandler, HeaderWordsAreTakenByPositionAndAcrossLines) {
    const auto body = Record("0", "50M", "\tNM:i:0\tAS:i:9\n");
    const struct {
        std::string header;
        float coverage;
    } cases[] = {
        {"@SQ\tSN:chr1\tLN:60\tM5:abc\n", 50.0F / 60.0F},
        {"@SQ\tSN:chr1\tLN:60\n@SQ\tSN:chr1\tLN:80\n", 50.0F / 80.0F},  // The later line counts.
        {"@SQ\tSN:chr1\tLN:900\n", 50.0F / 111.0F},
        {"@CO\n@SQ\tSN:chr1\tLN:60\n", INFINITY},  // The short line took the words "@SQ" and "SN:chr1".
        {"@SQ\tXX:chr1\tYY:60z\n", 50.0F / 60.0F},
        {"", INFINITY},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Parse(c.header + body).coverage, c.coverage) << c.header;
    }
}

// A large header is read once and then recognised; a text that only looks like it must not be taken for it.
TEST(SamHandler, ALargeHeaderIsRecognisedOnlyWhenItIsTheSame) {
    std::string header;
    for (int i = 0; i < 2000; ++i) {
        header += "@SQ\tSN:c" + std::to_string(i) + "\tLN:" + std::to_string(1000 + i) + "\n";
    }
    const auto record = [](int target) {
        return "r\t0\tc" + std::to_string(target) + "\t1\t0\t50M\t*\t0\t0\tAC\t*\tNM:i:0\tAS:i:1\n";
    };
    const auto coverage = [](const std::string& sam) { return SamHandler::Parse(std::string(sam), 1 << 30).coverage; };
    std::string other = header;
    other.replace(other.find("LN:1007"), 7, "LN:5000");

    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                EXPECT_EQ(coverage(header + record(7)), 50.0F / 1007.0F);
                EXPECT_EQ(coverage(other + record(7)), 50.0F / 5000.0F);
                EXPECT_EQ(coverage(header + "@SQ\tSN:c7\tLN:50\n" + record(7)), 1.0F);
                EXPECT_EQ(coverage(header + record(9999)), INFINITY);
                EXPECT_EQ(SamHeader::EndOfHeaderLines(header + record(7)), header.size());
                EXPECT_EQ(SamHeader::EndOfHeaderLines(header + "@CO\n" + record(7)), header.size() + 4);
            }
        });
    }
}

TEST(AlignmentResult, ValueMapKeepsEveryMemberAndNamesAMissingOne) {
    const auto result = Parse(kHeader + Record("16", "5S90M2I3D10M4S", "\tNM:i:7\tAS:i:150\n"));
    const auto values = result.ToValueMap();
    EXPECT_EQ(values.Entries().size(), 15U);
    EXPECT_EQ(values.Entries().front().first, "calibration_strand_genome");
    EXPECT_EQ(values.Entries()[5].first, "calibration_strand_sam_record");
    EXPECT_EQ(AlignmentResult::FromValueMap(values).ToValueMap().Entries(), values.Entries());
    for (const auto& [missing, unused] : values.Entries()) {
        Common::ValueMap rest;
        for (const auto& [key, value] : values.Entries()) {
            if (key != missing) {
                rest.Set(key, value);
            }
        }
        EXPECT_EQ(Tests::ErrorOf([&] { AlignmentResult::FromValueMap(rest); }), "Key '" + missing + "' not found.");
    }
}

}  // namespace
