#include "common/fastq_record.h"

#include <tuple>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/texts.h"

namespace {

using Common::FastQRecord;
using Tests::ErrorOf;
using Tests::Lines;

TEST(FastQRecord, ValidationNamesTheFirstFault) {
    const std::string letter = "Sequence contained an unexpected character ";
    const std::string length = "Sequence is not the same length as the qstring\nHeader: @r\nSequence: ";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"ACGTU", "!~5II", "nothing thrown"},
        {"", "", "nothing thrown"},
        {"ACGN", "IIII", letter + "'N' at position 3\nHeader: @r\nSequence: ACGN\nQstring: IIII"},
        {"acgt", "IIII", letter + "'a' at position 0\nHeader: @r\nSequence: acgt\nQstring: IIII"},
        {"NNNN", "III", length + "NNNN\nQstring: III"},
        {"AC", "III", length + "AC\nQstring: III"},
        {"AC", "", length + "AC\nQstring: "},
        {"AC", "I ", "Unsupported character in the Qstring:  "},
        {"AC", "\x7fI", "Unsupported character in the Qstring: \x7f"},
        {"AC", "I\xc3", "Unsupported character in the Qstring: \xc3"},
    };
    for (const auto& [bases, qualities, message] : cases) {
        const auto sequence = bases, qstring = qualities;
        FastQRecord record;
        EXPECT_EQ(ErrorOf([&] { record.Assign("@r", sequence, qstring); }), message);
        EXPECT_EQ(record.GetSequence(), sequence) << "the fields are assigned before they are validated";
    }
    EXPECT_NO_THROW(FastQRecord("@r", "ACGT", ""));
    EXPECT_NO_THROW(FastQRecord("", "xyz", "I"));
    EXPECT_EQ(ErrorOf([] { FastQRecord("@r", "AC", "I"); }), length + "AC\nQstring: I");
}

TEST(FastQRecord, IdentifiersComeFromTheTitle) {
    const std::string no_blank = "Read title '@' does not have any space. Continuing with next read.";
    const std::string no_run = "Could not find 'runid=' in the title: ";
    const std::tuple<std::string, std::string, std::string, Lines> cases[] = {
        {"@r1 runid=abc ch=5", "r1", "abc", {}},
        {">chr1 desc", "chr1", "[invalid run id]", {no_run + ">chr1 desc"}},
        {"@r1\tx runid=9", "r1\tx", "9", {}},
        {"@ r1 runid=9", "", "9", {}},
        {"@r1 xrunid=7", "r1", "7", {}},
        {"@runid=", "runid=", "", {}},
        {"@", "[invalid read id]", "[invalid run id]", {no_blank, no_run + "@"}},
    };
    for (const auto& [title, read_id, run_id, errors] : cases) {
        const Tests::CapturedLog log;
        const FastQRecord record(title, "", "");
        EXPECT_EQ(record.GetReadId(), read_id) << title;
        EXPECT_EQ(record.GetRunId(), run_id) << title;
        EXPECT_EQ(log.Of("error"), errors) << title;
    }
    EXPECT_EQ(ErrorOf([] { FastQRecord().GetReadId(); }), "Cannot get the read ID from an empty FastQ record.");
    EXPECT_EQ(ErrorOf([] { FastQRecord().GetRunId(); }), "Cannot get the run ID from an empty FastQ record.");
}

TEST(FastQRecord, IsWrittenAsFastaOnlyWithBasesAndWithoutQualities) {
    EXPECT_EQ(FastQRecord("@r", "AC", "II").ToString(), "@r\nAC\n+\nII\n");
    EXPECT_EQ(FastQRecord(">r", "AC", "").ToString(), ">r\nAC\n");
    EXPECT_EQ(FastQRecord("@r", "", "").ToString(), "@r\n\n+\n\n");
}

TEST(FastQRecord, ComposingATitleNamesTheMissingAttribute) {
    const std::pair<std::string, Common::Value> pairs[] = {{"read_id", "r7"},   {"run_id", "run"},
                                                           {"sample_id", "s"},  {"time_stamp", "now"},
                                                           {"read_number", -3}, {"channel", 512}};
    Common::ValueMap attributes;
    for (const auto& [key, value] : pairs) {
        EXPECT_EQ(ErrorOf([&] { FastQRecord::ComposeTitle(attributes); }), "Key '" + key + "' not found.");
        attributes.Set(key, value);
    }
    EXPECT_EQ(FastQRecord::ComposeTitle(attributes), "@r7 runid=run sampleid=s read=-3 ch=512 start_time=now");
}

}  // namespace
