#include "reports/run_facts.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "reports/run_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Texts = std::vector<std::string>;

std::string Record(const std::string& second, const std::string& rest) {
    return "2026-01-02 03:04:" + second + ".678901 " + rest + "\n";
}

std::string Begin(const std::string& second, const std::string& version = "1.2.3") {
    return Record(second, "[message] QEL Tavik alignment software version " + version +
                              "\ninput path:         in [a] b\nsave path:          out\nalignment ref.:     r.fa\n"
                              "min. coverage:      0.6");
}

std::string End(const std::string& second) {
    return Record(second, "[message] Done in 61005 ms.");
}

Reports::RunLog ReadText(const std::string& text) {
    const Tests::TemporaryFolder folder;
    return Reports::ReadRunLog(folder.Write("log", text));
}

const std::string kFailedFile = "Error while processing input file in/c (1 reads).fq: reason";
const std::string kFailedRead = "Error while processing read r1: reason Continuing with next read.";
const std::string kSkippedRead = "Read title '@' does not have any space. Continuing with next read.";

// Each kind of record that is counted occurs a different number of times.
const std::string kRecords =
    Record("06", "[info] Starting input file in/a.fq") + Record("07", "[warning] w1\nmore of it [error] x") +
    Record("08", "[info] Successfully finished input file in/a.fq (30 reads)") +
    Record("09", "[info] Successfully finished input file in/b (7 reads) (12 reads)") +
    Record("09", "[info] Starting input file in/c") + Record("10", "[error] " + kFailedFile) +
    Record("11", "[error] " + kFailedRead) + Record("12", "[error] " + kSkippedRead) +
    Record("13", "[error] " + kFailedRead) + Record("14", "[error] other") + Record("15", "[error] other [warning] 2") +
    Record("16", "[error] Done in 5 ms.") + Record("17", "[error] 4") + Record("18", "[warning] w2") +
    Record("19", "[warning] w3") + Record("20", "[warning] w4") + Record("21", "[warning] w5") +
    Record("22", "[warning] " + std::string(100'000, 'w')) + Record("23", "[message] Successfully finished nothing") +
    "2026-01-02 03:04 [error] no record\n" + Record("23", "[verbose] [error] in a verbose record");

}  // namespace

TEST(RunLog, CountsEveryKindOfRecord) {
    // Repetitions of an option are ignored, so that memory does not grow with the size of the file.
    const auto run = ReadText(Begin("05") + "input path: again\ninput path: again\n" + kRecords + End("59"));
    EXPECT_EQ((Texts{run.version, run.begin, run.end, run.current_file}),
              (Texts{"1.2.3", "2026-01-02 03:04:05", "2026-01-02 03:04:59", ""}));
    EXPECT_TRUE(run.is_finished);
    const std::vector<std::uint64_t> counts = {run.milliseconds,       run.finished_files,     run.finished_reads,
                                               run.failed_files.count, run.failed_reads.count, run.errors.count,
                                               run.warnings.count};
    EXPECT_EQ(counts, (std::vector<std::uint64_t>{61'005, 2, 42, 1, 3, 4, 6}));
    EXPECT_EQ(run.failed_files.first, Texts{kFailedFile});
    EXPECT_EQ(run.failed_reads.first, (Texts{kFailedRead, kSkippedRead, kFailedRead}));
    EXPECT_EQ(run.errors.first, (Texts{"other", "other [warning] 2", "Done in 5 ms.", "4"}));
    EXPECT_EQ(run.warnings.first, (Texts{"w1", "w2", "w3", "w4", "w5"}));
    const std::vector<std::pair<std::string, std::string>> options = {
        {"input path", "in [a] b"}, {"save path", "out"}, {"alignment ref.", "r.fa"}, {"min. coverage", "0.6"}};
    EXPECT_EQ(run.options, options);
}

TEST(RunLog, IsUnfinishedIfItIsCut) {
    const auto whole = Begin("05") + Record("06", "[info] Starting input file in/a.fq") + End("07");
    const auto done = whole.size() - End("07").size();
    for (const auto size : {done, done + 10, done + 30, whole.size() - 6, whole.size() - 2}) {
        const auto run = ReadText(whole.substr(0, size));
        EXPECT_EQ(run.is_finished, false) << size;
        EXPECT_EQ(run.current_file, "in/a.fq");
    }
    EXPECT_TRUE(ReadText(whole.substr(0, whole.size() - 1)).is_finished);
    EXPECT_EQ(ReadText("").end, "");
}

TEST(RunLog, DescribesTheLastRunInTheFile) {
    const auto early = Record("04", "[error] cannot open the summary");
    const auto error = Record("06", "[error] e");
    const auto late = Record("08", "[error] cannot write the summary");
    struct Case {
        std::string text;
        Texts errors;
        bool is_finished;
    };
    const std::vector<Case> cases = {
        {early + Begin("05", "1") + error + End("07") + late,
         {"cannot open the summary", "e", "cannot write the summary"},
         true},
        {Begin("05", "2") + error + End("07") + early + Begin("08", "1") + End("09"),
         {"cannot open the summary"},
         true},
        {Begin("05", "2") + End("07") + early + Begin("08", "1"), {"cannot open the summary"}, false},
        {early + Begin("05", "2") + error + Begin("08", "1") + End("09"), {}, true},
    };
    for (const auto& one : cases) {
        const auto run = ReadText(one.text);
        EXPECT_EQ(run.version, "1");
        EXPECT_EQ(run.errors.first, one.errors) << one.text;
        EXPECT_EQ(run.is_finished, one.is_finished) << one.text;
    }
}

TEST(RunFacts, ComeFromTheNewestMainLog) {
    const Tests::TemporaryFolder folder;
    EXPECT_EQ(Reports::ReadRunFacts(folder.Path("")).logs, 0U);
    const auto error = Record("06", "[error] e");
    folder.Write("read_processor_log-2025-12-31_23-59-59.log", Begin("05") + error);
    folder.Write("read_processor_verbose_log-2027-01-01_00-00-00.log", Begin("05") + error);
    folder.Write("read_processor_log-2027-01-01_00-00-00.log.old", Begin("05") + error);
    const auto newest = folder.Write("read_processor_log-2026-01-02_03-04-05.log", Begin("05") + End("06"));
    std::filesystem::create_directories(folder.Path("read_processor_log-2028-01-01_00-00-00.log"));
    std::filesystem::create_directories(folder.Path("chunks/1"));
    const auto facts = Reports::ReadRunFacts(folder.Path(""));
    EXPECT_EQ(facts.log_file, newest);
    EXPECT_EQ(facts.unfinished.count + facts.errors.count + facts.missing.count, 0U);
}

TEST(RunFacts, CoverAllRunsOfAJoinedSummary) {
    const Tests::TemporaryFolder folder;
    const auto log = "/read_processor_log-2026-01-02_03-04-05.log";
    for (const auto* const chunk : {"00000", "00001", "00002", "00003"}) {
        std::filesystem::create_directories(folder.Path(std::string("chunks/") + chunk));
    }
    folder.Write("chunks/no folder", "");
    folder.Write(std::string("chunks/00001") + log, Begin("30") + kRecords + End("40"));
    folder.Write(std::string("chunks/00000") + log, Begin("10", "1.2.2") + kRecords);
    folder.Write(std::string("chunks/00003") + log, Begin("08") + End("39"));
    const auto facts = Reports::ReadRunFacts(folder.Path(""));
    const std::vector<std::uint64_t> counts = {facts.runs,
                                               facts.logs,
                                               facts.milliseconds,
                                               facts.finished_files,
                                               facts.finished_reads,
                                               facts.warnings.count,
                                               facts.errors.count,
                                               facts.failed_files.count,
                                               facts.failed_reads.count,
                                               facts.missing.count,
                                               facts.unreadable.count};
    EXPECT_EQ(counts, (std::vector<std::uint64_t>{4, 3, 122'010, 4, 84, 12, 8, 2, 6, 1, 0}));
    EXPECT_EQ((Texts{facts.begin, facts.end}), (Texts{"2026-01-02 03:04:08", "2026-01-02 03:04:40"}));
    EXPECT_EQ(facts.versions, (std::set<std::string>{"1.2.2", "1.2.3"}));
    EXPECT_EQ(facts.options.at("alignment ref."), std::set<std::string>{"r.fa"});
    EXPECT_EQ(facts.failed_files.first, (Texts{"chunks/00000: " + kFailedFile, "chunks/00001: " + kFailedFile}));
    EXPECT_EQ(facts.missing.first, Texts{"chunks/00002"});
    EXPECT_EQ(facts.unfinished.first, Texts{"chunks/00000: the log file ends at 2026-01-02 03:04:23: the run was "
                                            "interrupted or is still running"});
}
