#include "common/sequencing_file.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <boost/iostreams/filter/gzip.hpp>

#include "common/sequencing_file_adapter.h"
#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Common::SequencingFileAdapter;
using Tests::Lines;

// Each record as "title|sequence|qualities", then what ended the walk, if it was an exception.
Lines Walk(std::istream& stream) {
    Lines seen;
    try {
        SequencingFileAdapter adapter(stream);
        for (auto record = adapter.begin(); !(record == SequencingFileAdapter::end()); ++record) {
            const auto& r = *record;
            seen.push_back(r.GetTitle() + "|" + r.GetSequence() + "|" + r.GetQString());
        }
    } catch (const std::exception& error) {
        seen.push_back(error.what());
    }
    return seen;
}

Lines WalkText(const std::string& text) {
    std::istringstream stream(text);
    return Walk(stream);
}

Lines WalkFile(const std::string& path) {
    boost::iostreams::filtering_istream stream;
    Common::OpenSequencingFile(path, stream);
    return Walk(stream);
}

std::string Gzip(const std::string& text) {
    std::stringstream in(text);
    std::stringstream out;
    boost::iostreams::filtering_istream packed;
    packed.push(boost::iostreams::gzip_compressor());
    packed.push(in);
    out << packed.rdbuf();
    return out.str();
}

// FASTQ text of `count` records whose bases do not pack well, so that packed text spans several buffers.
std::string ManyRecords(int count) {
    std::string text;
    unsigned state = 7;
    for (int i = 0; i < count; ++i) {
        const auto bases = Tests::RandomBases(state, 100);
        text += "@r" + std::to_string(i) + "\n" + bases + "\n+\n" + std::string(100, 'I') + "\n";
    }
    return text;
}

TEST(SequencingFile, TextIsWalkedRecordByRecord) {
    const struct {
        const char* name;
        const char* text;
        Lines records;
    } cases[] = {
        {"carriage returns", "@r1\r\nACGT\r\n+\r\nIIII\r\n", {"@r1|ACGT|IIII"}},
        {"no last line feed", "@r1\nAC\n+\nII\n@r2\nA\n+\nI", {"@r1|AC|II", "@r2|A|I"}},
        {"4n+2 lines", "@r1\nAC\n+\nII\n@r2\nA\n", {"@r1|AC|II"}},
        {"plus line unchecked", "r1\nAC\nx\nII\n", {"r1|AC|II"}},
        {"three empty lines at the end are no record", "@r1\nAC\n+\nII\n\n\n\n", {"@r1|AC|II", "||"}},
        {"bad record",
         "@r1\nAC\n+\nII\n@r2\nAN\n+\nII\n@r3\nA\n+\nI\n",
         {"@r1|AC|II",
          "Sequence contained an unexpected character 'N' at position 1\n"
          "Header: @r2\nSequence: AN\nQstring: II"}},
        {"fasta over lines", ">c d\nACG\r\nUU\nA\n>e\nC", {">c d|ACGUUA|", ">e|C|"}},
        {"fasta without bases", ">a\n>b\nT\n", {">a||", ">b|T|"}},
        {"lower case ends a fasta record",
         ">a\nAC\nacgt\n",
         {">a|AC|", "Invalid fasta description, it should start with '>'. acgt"}},
        {"bad letter in fasta",
         ">a\nAC-G\n",
         {"Sequence contained an unexpected character '-' at position 2\nHeader: >a\nSequence: "
          "AC-G\nQstring: "}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(WalkText(c.text), c.records) << c.name;
    }
}

// A file without any record is not skipped: misuse of the iterators ends the process, deliberately.
TEST(SequencingFileDeathTest, MisuseEndsTheProcess) {
    const auto after_end = [] {
        std::istringstream text("@r\nA\n+\nI\n");
        SequencingFileAdapter adapter(text);
        auto it = adapter.begin();
        ++it;
        ++it;
    };
    const auto twice = [] {
        std::istringstream text("@r\nA\n+\nI\n");
        SequencingFileAdapter adapter(text);
        adapter.begin();
        adapter.begin();
    };
    EXPECT_DEATH(WalkText(""), "terminate");
    EXPECT_DEATH(WalkText("@r\nA\n"), "terminate");
    EXPECT_DEATH(after_end(), "terminate");
    EXPECT_DEATH(twice(), "terminate");
}

TEST(SequencingFile, FastQIterationStartsOnce) {
    std::istringstream text("@r\nA\n+\nI\n");
    Common::FastQIterable reads(text);
    reads.begin();
    EXPECT_THROW(reads.begin(), std::runtime_error);
}

TEST(SequencingFile, TheNameAloneDecidesBetweenPlainAndGzip) {
    const Tests::TemporaryFolder folder;
    const std::string text = "@r\nAC\n+\nII\n";
    const Lines read = {"@r|AC|II"};
    const struct {
        const char* name;
        std::string content;
        Lines expected;
    } cases[] = {
        {"a.FASTQ", text, read},
        {"b.fa", text, read},
        {"c.fastq.gz", Gzip(text), read},
        {"d.anything", Gzip(text) + Gzip("@s\nA\n+\nI\n"), {"@r|AC|II", "@s|A|I"}},
        {"e.txt", text, {"gzip error in " + folder.Path("e.txt") + ": not in gzip format"}},
        {"f.gz", "", {"gzip error in " + folder.Path("f.gz") + ": not in gzip format"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(WalkFile(folder.Write(c.name, c.content)), c.expected) << c.name;
    }
    const auto missing = folder.Path("missing.fastq");
    EXPECT_EQ(WalkFile(missing), Lines{"Could not open " + missing + ": No such file or directory"});
    std::filesystem::create_directory(folder.Path("folder.fq"));
    EXPECT_EQ(WalkFile(folder.Path("folder.fq")),
              Lines{"Could not read " + folder.Path("folder.fq") + ": Is a directory"});
}

TEST(SequencingFile, DamagedGzipGivesItsWholeRecordsAndAWarning) {
    const Tests::TemporaryFolder folder;
    const std::string text = ManyRecords(2000);
    const auto all = WalkText(text);
    const auto packed = Gzip(text);
    const auto name = "gzip error in " + folder.Path("x.gz");
    const auto end_flag = [](const std::string& m) { return "Caught exception, so setting END flag. " + m; };

    auto flipped_sum = packed;
    flipped_sum[packed.size() - 8] = static_cast<char>(flipped_sum[packed.size() - 8] ^ 1);
    auto flipped_data = packed;
    for (std::size_t i = 0; i < 64; ++i) {
        flipped_data[packed.size() / 2 + i] = '\0';
    }
    const struct {
        std::string content;
        std::size_t at_least;
        std::string warning;
    } cases[] = {
        {packed.substr(0, packed.size() / 2), 900, end_flag(name + ": the file ends too early")},
        {packed.substr(0, packed.size() - 3), 2000, end_flag(name + ": the file ends too early")},
        {flipped_sum, 2000, end_flag(name + ": the checksum does not match, the data are corrupt")},
        {packed + packed.substr(0, 6), 2000, end_flag(name + ": the file ends too early")},
        {packed + "bytes after the end", 2000,
         "Ignored the bytes after the end of the gzip data in " + folder.Path("x.gz")},
    };
    for (const auto& c : cases) {
        const Tests::CapturedLog log;
        const auto read = WalkFile(folder.Write("x.gz", c.content));
        EXPECT_GE(read.size(), c.at_least) << c.warning;
        EXPECT_TRUE(std::equal(read.begin(), read.end(), all.begin())) << c.warning;
        EXPECT_EQ(log.Of("warning"), Lines{c.warning});
    }
    // Zeroed data may decode to anything, but not to silence.
    const Tests::CapturedLog log;
    const auto read = WalkFile(folder.Write("x.gz", flipped_data));
    EXPECT_GE(read.size(), 900U);
    EXPECT_TRUE(std::equal(all.begin(), all.begin() + 900, read.begin()));
}

TEST(SequencingFile, AFastaFileBeforeTrailingBytesKeepsItsLastRecord) {
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    EXPECT_EQ(WalkFile(folder.Write("x.gz", Gzip(">a\nAC\n>b\nGT\n") + "xyz")), (Lines{">a|AC|", ">b|GT|"}));
    EXPECT_EQ(log.Of("warning").size(), 1U);
}

}  // namespace
