#include "reports/summary_reader.h"

#include <gtest/gtest.h>

#include "common/summary_columns.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

std::string Header() {
    std::string header;
    for (const auto name : Common::kSummaryColumns) {
        header.append(header.empty() ? "" : "\t").append(name);
    }
    return header + "\n";
}

const std::string kRow = "r\tc_rc\t100\t203\t5\t107\t2\t3\t100\t98\t0.98\t0.933333\t150\n";
const std::string kUnmapped = "r\t*\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\n";
const std::string kRejected = "r\t*\t0\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\n";

std::string With(std::size_t column, const std::string& cell, const std::string& row = kRow) {
    std::string changed;
    std::size_t start = 0;
    for (std::size_t i = 0; i < Common::kSummaryColumns.size(); ++i) {
        const auto end = row.find_first_of("\t\n", start);
        changed += (i == column ? cell : row.substr(start, end - start)) + row[end];
        start = end + 1;
    }
    return changed;
}

std::size_t ReadAllRows(const std::string& path) {
    Reports::SummaryReader reader(path);
    Reports::SummaryRow row;
    std::size_t rows = 0;
    while (reader.Next(row)) {
        ++rows;
    }
    EXPECT_EQ(reader.BytesRead(), reader.FileSize());
    return rows;
}

}  // namespace

// The reader reads 1 MiB at a time.
TEST(SummaryReader, ReadsRowsThatCrossTheEndOfTheBuffer) {
    const Tests::TemporaryFolder folder;
    std::string text = Header();
    std::size_t rows = 0;
    for (; text.size() < 3'000'000; ++rows) {
        text += rows % 3 == 0 ? kUnmapped : rows % 3 == 1 ? kRejected : kRow;
    }
    EXPECT_EQ(ReadAllRows(folder.Write("s", text)), rows);
}

TEST(SummaryReader, RefusesDamagedSummariesWithLineAndReason) {
    const std::string no_header = "line 1: not the header of an alignment summary: ";
    const std::string wrong_end = " is not start + aligned + ";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "line 1: the file is empty"},
        {Header().substr(0, 50), "line 1: the header line is incomplete"},
        {"@SQ\x1b\tx\n", no_header + "'@SQ??x'"},
        {Header().insert(Header().size() - 1, "\tmore"), no_header + "'read_id?alignment_genome?alignment_genom...'"},
        {Header() + kRow + "r\tc\n", "line 3: 2 columns instead of 13"},
        {Header() + "\n", "line 2: 1 column instead of 13"},
        {Header() + kRow + std::string(std::size_t{65} << 20U, 'x'),
         "line 3: longer than 64 MiB, so not a row of a summary"},
        {Header() + With(12, "150\t"), "line 2: 14 columns instead of 13"},
        {Header() + With(12, "150\r"), "line 2: alignment_score is not a whole number: '150?'"},
        {Header() + With(8, "1e2"), "line 2: alignment_num_aligned is not a whole number: '1e2'"},
        {Header() + With(6, ""), "line 2: alignment_num_insertions is not a whole number: ''"},
        {Header() + With(3, "2147483648"), "line 2: alignment_genome_end is not a whole number: '2147483648'"},
        {Header() + With(1, ""), "line 2: alignment_genome is empty"},
        {Header() + With(2, "0"), "line 2: alignment_genome_start of an aligned read is below 1: '0'"},
        {Header() + With(7, "-3"), "line 2: an aligned read has a negative count"},
        {Header() + With(9, "101"), "line 2: alignment_num_correct is larger than alignment_num_aligned"},
        {Header() + With(3, "204"), "line 2: alignment_genome_end" + wrong_end + "deletions: '204'"},
        {Header() + With(5, "106"), "line 2: alignment_strand_end" + wrong_end + "insertions: '106'"},
        {Header() + With(10, "0.981"), "line 2: alignment_identity does not follow from the counts: '0.981'"},
        {Header() + With(10, "nan"), "line 2: alignment_identity does not follow from the counts: 'nan'"},
        {Header() + With(11, "0.98"), "line 2: alignment_accuracy does not follow from the counts: '0.98'"},
        {Header() + With(2, "-2", kUnmapped),
         "line 2: alignment_genome_start of an unaligned read is neither -1 nor 0: '-2'"},
        {Header() + kRow + With(12, "0", kRejected), "line 3: alignment_score of an unaligned read is not -1: '0'"},
    };
    const Tests::TemporaryFolder folder;
    for (const auto& [content, reason] : cases) {
        const auto path = folder.Write("s", content);
        EXPECT_EQ(Tests::ErrorOf([&] { ReadAllRows(path); }), path + ": " + reason);
    }
    const auto missing = folder.Path("missing");
    EXPECT_EQ(Tests::ErrorOf([&] { ReadAllRows(missing); }), missing + ": No such file or directory");
    EXPECT_EQ(Tests::ErrorOf([&] { ReadAllRows(folder.Path("")); }), folder.Path("") + ": Is a directory");
}

TEST(SummaryReader, AcceptsAnAlignmentWithoutAlignedBases) {
    const Tests::TemporaryFolder folder;
    const auto row = "r\tc\t5\t5\t0\t0\t0\t0\t0\t0\t-nan\t-nan\t0\n";
    EXPECT_EQ(ReadAllRows(folder.Write("s", Header() + row)), 1U);
}
