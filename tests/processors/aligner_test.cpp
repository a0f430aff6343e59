#include "processors/aligner.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include <unistd.h>

#include <gtest/gtest.h>

#include "apps/aligner/process_setup.h"
#include "common/processor.h"
#include "processors/relative_path.h"
#include "processors/summary_row.h"
#include "tests/common/captured_log.h"
#include "tests/common/meeting.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Tests::Lines;
using Tests::ReadLines;

// Chooses its answer by the read's name. Any thread may call it.
class FakeCaller : public ThirdPartyAlignment::ExtAlignCaller {
public:
    std::string Call(const std::string& sequence, const std::string& read_name) override {
        if (meeting != nullptr) {
            meeting->Attend();
        }
        if (read_name.starts_with("throws")) {
            throw std::runtime_error("no luck");
        }
        if (read_name.starts_with("odd")) {
            throw 5;
        }
        if (read_name.starts_with("silent")) {
            return "@SQ\tSN:chr\tLN:100\n";
        }
        const auto length = std::to_string(sequence.size());
        const auto line = read_name + "\t0\tchr\t5\t60\t" + length + "M\t*\t0\t0\t" + sequence + "\t*\tNM:i:0\tAS:i:7";
        return "@SQ\tSN:chr\tLN:100\n" + line + "\n\n" + line + " second";
    }
    std::shared_ptr<ExtAlignCaller> Copy() const override { return std::make_shared<FakeCaller>(*this); }

    Tests::Meeting* meeting = nullptr;  // If set, all calls pass through it.
};

class TestedAligner : public Tavik::Aligner {
public:
    TestedAligner(const std::string& input, const std::string& save, int threads, Tests::Meeting* meeting = nullptr) {
        input_path = input;
        save_path = save;
        worker_threads = threads;
        auto fake = std::make_unique<FakeCaller>();
        fake->meeting = meeting;
        caller = std::move(fake);
        summary.Open(save + "/" + GetSummaryFileName());
    }
    using Aligner::align_ref;
    void LogReads() { log_reads = true; }
};

std::string Record(const std::string& name) {
    return "@" + name + "\nACGT\n+\nIIII\n";
}

TEST(Aligner, FailingReadsDoNotAffectTheOtherReadsOfAFile) {
    for (const int threads : {1, 8}) {
        const Tests::TemporaryFolder folder;
        const Tests::CapturedLog log;
        TestedAligner aligner(folder.Path(""), folder.Path(""), threads);
        aligner.LogReads();
        std::string text;
        for (int i = 0; i < 50; ++i) {
            text += Record("r" + std::to_string(i));
        }
        text += Record("throws") + Record("odd") + "@\nACGT\n+\nIIII\n\nACGT\n+\nIIII\n" +
                Record("silent\tno column x=y") + "\n\n\n\n";
        const auto file = folder.Write("a.fq", text);
        EXPECT_EQ(aligner.ProcessSequencingFile(file), 51);

        const auto sam = ReadLines(folder.Path("a.sam"));
        auto rows = ReadLines(folder.Path("alignment_summary.txt"));
        ASSERT_EQ(sam.size(), 100U) << "there must be two lines per read, but no header lines or empty lines";
        EXPECT_EQ(std::erase(rows, "silent\t*\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1"), 1U);
        ASSERT_EQ(rows.size(), 50U);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(sam[2 * i] + " second", sam[2 * i + 1]) << "lines of two reads are mixed";
            EXPECT_TRUE(rows[i].starts_with(sam[2 * i].substr(0, sam[2 * i].find('\t') + 1))) << rows[i];
        }
        auto errors = log.Of("error");
        std::sort(errors.begin(), errors.end());
        EXPECT_EQ(errors, (Lines{"Error while processing read [invalid read id]: Cannot get the read ID from an empty "
                                 "FastQ record. Continuing with next read.",
                                 "Error while processing read odd. Continuing with next read.",
                                 "Error while processing read throws: no luck Continuing with next read.",
                                 "Read title '@' does not have any space. Continuing with next read."}));
        EXPECT_EQ(log.Of("info").back(), "Successfully finished input file " + file + " (51 reads)");
        const auto verbose = log.Of("verbose");
        EXPECT_EQ(std::count(verbose.begin(), verbose.end(), "Starting to process read: r7"), 1);
        EXPECT_EQ(std::count(verbose.begin(), verbose.end(), "Done with read r7. Genome: chr"), 1);

        const auto descriptors = Tests::OpenDescriptors();
        for (const auto* const next_file : {"b.fq", "c.fq"}) {
            EXPECT_EQ(aligner.ProcessSequencingFile(folder.Write(next_file, text)), 51) << next_file;
        }
        EXPECT_EQ(Tests::OpenDescriptors(), descriptors);
        EXPECT_EQ(ReadLines(folder.Path("alignment_summary.txt")).size(), 3 * 51U);
        EXPECT_EQ(log.Of("error").size(), 3 * 4U);
    }
}

TEST(Aligner, ANameInTheSummaryEndsAtAnyWhiteSpace) {
    for (const char blank : std::string("\t\v\f\r")) {
        const Tests::TemporaryFolder folder;
        TestedAligner aligner(folder.Path(""), folder.Path(""), 1);
        aligner.ProcessSequencingFile(folder.Write("a.fq", Record(std::string("silent") + blank + "x")));
        EXPECT_EQ(ReadLines(folder.Path("alignment_summary.txt")),
                  Lines{"silent\t*\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1"});
    }
}

TEST(ProcessSetup, DenormalNumbersCountAsZero) {
    const auto before = Common::FloatingPointSettings();
    SetUpProcess();
    volatile float denormal = 1e-40F, least = 1.2e-38F;
    const float read = denormal * 1e20F, made = least / 4;
    Common::SetFloatingPointSettings(before);
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_NE(denormal, 0.0F);
    EXPECT_EQ(read, 0.0F);
    EXPECT_EQ(made, 0.0F);
}

TEST(Aligner, AsManyReadsAsWorkersAreAlignedAtOnce) {
    for (const int threads : {1, 2, 7, 80}) {
        const Tests::TemporaryFolder folder;
        Tests::Meeting meeting(threads);
        TestedAligner aligner(folder.Path(""), folder.Path(""), threads, &meeting);
        std::string text;
        for (int i = 0; i < 3 * threads; ++i) {
            text += Record(std::to_string(i));
        }
        EXPECT_EQ(aligner.ProcessSequencingFile(folder.Write("a.fq", text)), 3 * threads);
        EXPECT_FALSE(meeting.Failed());
        EXPECT_EQ(meeting.Most(), threads);
    }
}

TEST(Aligner, ZeroThreadsAreInvalidButANegativeNumberIsNot) {
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    for (const int threads : {-1, 0, 1}) {
        EXPECT_EQ(TestedAligner("", folder.Path("."), threads).ValidateParams(), threads != 0);
    }
    EXPECT_EQ(log.Of("error"), Lines{"Invalid number of threads: 0"});
}

TEST(Aligner, ANewFolderIsLogged) {
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    for (int twice = 0; twice < 2; ++twice) {
        TestedAligner(folder.Path("in"), folder.Path("out"), 1).StartNewFile(folder.Path("in/x/b.fq"));
    }
    EXPECT_EQ(log.Of("info"), Lines{"Creating output folder \"" + folder.Path("out/x") + "\""});
}

TEST(Aligner, AReferenceAmongTheReadsCausesAWarning) {
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    TestedAligner aligner(folder.Path(""), folder.Path(""), 1);
    const auto reads = folder.Write("reads.fa", "");
    const auto reference = folder.Write("reference.fa", "");
    std::filesystem::create_symlink(reference, folder.Path("link.fa"));
    aligner.align_ref = folder.Path("./reference.fa");
    for (const auto& file : {reads, reference, folder.Path("link.fa")}) {
        aligner.StartNewFile(file);
    }
    const std::string end = " is the reference itself: its sequences are aligned as reads.";
    EXPECT_EQ(log.Of("warning"),
              (Lines{"Input file " + reference + end, "Input file " + folder.Path("link.fa") + end}));
}

TEST(Aligner, AnInputFileIsNotReplacedByItsOwnSamFile) {
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    TestedAligner aligner("", folder.Path("."), 1);
    const auto file = folder.Write("a.sam", "precious");
    EXPECT_EQ(aligner.ProcessSequencingFile(file), -1);
    EXPECT_EQ(log.Of("error"),
              Lines{"Error while processing input file " + file + ": Its SAM file " + folder.Path("./a.sam") +
                    " would replace it. Will continue with next input file."});
    EXPECT_EQ(Tests::ReadAll(file), "precious");
}

TEST(OutputFile, AWriteThatFailsAtClosingIsReported) {
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    {
        Tavik::OutputFile file;
        const int descriptor = ::dup(STDERR_FILENO);  // Returns the lowest free number, which the file will get.
        ::close(descriptor);
        file.Open(folder.Path("a"));
        file.WriteLine("x\n");
        EXPECT_EQ(::close(descriptor), 0);
    }
    EXPECT_EQ(log.Of("error"), Lines{"Could not write to output file " + folder.Path("a") + ": Bad file descriptor"});
}

TEST(Aligner, AsynchronousAlignmentIsRefused) {
    const Tests::TemporaryFolder folder;
    const auto file = folder.Write("a.fastq", "\nA\n+\nI\n" + Record("r1") + "\n\n\n\n");
    const Tests::CapturedLog log;
    TestedAligner aligner("", folder.Path("."), 1);
    EXPECT_EQ(aligner.ProcessSequencingFileAsync(file), -1);
    EXPECT_EQ(
        log.Of("error"),
        (Lines{"Error while processing read [invalid read id]: Cannot get the read ID from an empty FastQ record. "
               "Continuing with next read.",
               "Error while processing read r1: Asynch alignment not yet supported! Continuing with next read.",
               "Error while processing input file " + file +
                   ": Asynch alignment not yet supported! Will continue with next input file."}));
}

TEST(RelativePath, MirrorsTheInputFolder) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/in/a.fastq", "/in", "a.fastq"},
        {"/in/x/b.reads.fastq", "/in//", "x/b.reads.fastq"},
        {"/other/b.fq", "/data/run1", "../../other/b.fq"},
        {"in/a.fq", "in\\", "a.fq"},
        {"/a.fq", "/", "/a.fq"},
        {"./x/a.fq", ".", "x/a.fq"},
    };
    for (const auto& [file, base, expected] : cases) {
        EXPECT_EQ(Tavik::RelativePath(file, base), expected) << file << " from " << base;
    }
}

TEST(SummaryRow, WritesNumbersAsAStandardStreamDoes) {
    for (const float value :
         {0.954321F, 1.0F, -1.0F, 0.1F, 1.0F / 3.0F, 1e-7F, 123456789.0F, INFINITY, -INFINITY, NAN, -NAN}) {
        ThirdPartyAlignment::AlignmentResult result;
        result.identity = value;
        std::ostringstream expected;
        expected << "r\t*\t0\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t" << value << "\t-1\t-1\n";
        EXPECT_EQ(Tavik::FormatSummaryRow("r", result), expected.str());
    }
}

}  // namespace
