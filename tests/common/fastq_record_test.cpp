#include "common/fastq_record.h"

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/texts.h"

namespace {

using Common::FastQRecord;
using Tests::ErrorOf;
using Tests::Lines;

TEST(FastQRecord, ValidationNamesTheFirstFault) {
    const struct {
        const char *sequence, *qstring, *message;
    } cases[] = {
        {"ACGTU", "!~5II", "nothing thrown"},
        {"", "", "nothing thrown"},
        {"ACGN", "IIII",
         "Sequence contained an unexpected character 'N' at position 3\n"
         "Header: @r\nSequence: ACGN\nQstring: IIII"},
        {"acgt", "IIII",
         "Sequence contained an unexpected character 'a' at position 0\n"
         "Header: @r\nSequence: acgt\nQstring: IIII"},
        {"NNNN", "III",
         "Sequence is not the same length as the qstring\n"
         "Header: @r\nSequence: NNNN\nQstring: III"},
        {"AC", "I ", "Unsupported character in the Qstring:  "},
        {"AC", "\x7fI", "Unsupported character in the Qstring: \x7f"},
        {"AC", "I\xc3", "Unsupported character in the Qstring: \xc3"},
    };
    for (const auto& c : cases) {
        FastQRecord record;
        EXPECT_EQ(ErrorOf([&] { record.Assign("@r", c.sequence, c.qstring); }), c.message) << c.sequence;
        EXPECT_EQ(record.GetSequence(), c.sequence) << "the fields are assigned before they are validated";
    }
}

TEST(FastQRecord, ConstructorValidatesOnlyCompleteRecords) {
    EXPECT_NO_THROW(FastQRecord("@r", "ACGT", ""));
    EXPECT_NO_THROW(FastQRecord("", "xyz", "I"));
    EXPECT_THROW(FastQRecord("@r", "ACGT", "III"), std::runtime_error);
    FastQRecord record;
    EXPECT_THROW(record.Assign("@r", "ACGT", ""), std::runtime_error);
}

TEST(FastQRecord, IdentifiersComeFromTheTitle) {
    const struct {
        const char *title, *read_id, *run_id;
        Lines errors;
    } cases[] = {
        {"@r1 runid=abc ch=5", "r1", "abc", {}},
        {">chr1 desc", "chr1", "[invalid run id]", {"Could not find 'runid=' in the title: >chr1 desc"}},
        {"@r1\tx runid=9", "r1\tx", "9", {}},
        {"@r1 xrunid=7", "r1", "7", {}},
        {"@r1 runid=", "r1", "", {}},
        {"@",
         "[invalid read id]",
         "[invalid run id]",
         {"Read title '@' does not have any space. Continuing with next read.",
          "Could not find 'runid=' in the title: @"}},
    };
    for (const auto& c : cases) {
        const Tests::CapturedLog log;
        const FastQRecord record(c.title, "", "");
        EXPECT_EQ(record.GetReadId(), c.read_id) << c.title;
        EXPECT_EQ(record.GetRunId(), c.run_id) << c.title;
        EXPECT_EQ(log.Of("error"), c.errors) << c.title;
    }
    EXPECT_EQ(ErrorOf([] { FastQRecord().GetReadId(); }), "Cannot get the read ID from an empty FastQ record.");
    EXPECT_EQ(ErrorOf([] { FastQRecord().GetRunId(); }), "Cannot get the run ID from an empty FastQ record.");
}

TEST(FastQRecord, IsWrittenAsFastaOnlyWithBasesAndWithoutQualities) {
    EXPECT_EQ(FastQRecord("@r", "AC", "II").ToString(), "@r\nAC\n+\nII\n");
    EXPECT_EQ(FastQRecord(">r", "AC", "").ToString(), ">r\nAC\n");
    EXPECT_EQ(FastQRecord("@r", "", "").ToString(), "@r\n\n+\n\n");
}

TEST(FastQRecord, ComposedTitleReadsBackAndMissingAttributesAreNamed) {
    Common::ValueMap attributes;
    const std::vector<std::pair<std::string, Common::Value>> in_order = {
        {"read_id", "r7"},   {"run_id", "run"}, {"sample_id", "s"}, {"time_stamp", "2020-01-01T00:00:00Z"},
        {"read_number", -3}, {"channel", 512}};
    for (const auto& [key, value] : in_order) {
        EXPECT_EQ(ErrorOf([&] { FastQRecord::ComposeTitle(attributes); }), "Key '" + key + "' not found.");
        attributes.Set(key, value);
    }
    const auto title = FastQRecord::ComposeTitle(attributes);
    EXPECT_EQ(title, "@r7 runid=run sampleid=s read=-3 ch=512 start_time=2020-01-01T00:00:00Z");
    EXPECT_EQ(FastQRecord(title, "", "").GetRunId(), "run");
}

}  // namespace
