#include <gtest/gtest.h>

#include "reports/page_data.h"
#include "reports/report.h"
#include "reports/run_facts.h"
#include "tests/common/temporary_folder.h"

TEST(SampleNames, TakeAsMuchOfThePathAsKeepsThemApart) {
    const std::string file = "/alignment_summary.txt";
    const std::vector<std::string> paths = {"/a/run1/out" + file, "/b/run1/out" + file, "/b/run2/out" + file,
                                            "/c/lambda" + file,   "/c/my.rows.txt",     "/c/../c/lambda" + file};
    EXPECT_EQ(Reports::SampleNames(paths), (std::vector<std::string>{"a/run1/out", "b/run1/out", "run2/out", "c/lambda",
                                                                     "my.rows", "c/lambda (2)"}));
}

TEST(ForPage, IsValidUtf8AndShort) {
    EXPECT_EQ(Reports::ForPage("a\xff\xc3(\xe2\x82", 80), "a\xef\xbf\xbd\xef\xbf\xbd(\xef\xbf\xbd");
    EXPECT_EQ(Reports::ForPage("0123456789", 10), "0123456789");
    EXPECT_EQ(Reports::ForPage("0123456789x", 10),
              "012345\xe2\x80\xa6"
              "89x");
    EXPECT_LE(Reports::ForPage(std::string(10000, '\x80'), 80).size(), 240U);
}

TEST(RunFacts, AreThoseOfTheLastRunInTheLastLogFile) {
    const Tests::TemporaryFolder folder;
    EXPECT_EQ(Reports::ReadRunFacts(folder.Path("")).log_file, "");
    const std::string banner =
        "2026-01-02 03:04:05.678901 [message] QEL Tavik alignment software version 1.2.3\n"
        "input path:         in [a] b\nsave path:          out\nalignment ref.:     r.fa\nmin. coverage:      0.6\n";
    folder.Write("read_processor_log-2025-12-31_23-59-59.log", "2025-12-31 23:59:59.0 [error] old\n");
    folder.Write("read_processor_verbose_log-2027-01-01_00-00-00.log", "2027-01-01 00:00:00.0 [error] verbose\n");
    const auto log = "read_processor_log-2026-01-02_03-04-05.log";
    const std::string start =
        "2026-01-02 03:04:04.0 [error] an earlier run of the same second\n" + banner +
        "2026-01-02 03:04:06.0 [warning] w\nmore of it [error] x\n2026-01-02 03:04:06.0 [error] e\n"
        "2026-01-02 03:04:06.0 [info] Successfully finished input file in/a.fq (3 reads)\n";
    folder.Write(log, start);
    EXPECT_EQ(Reports::ReadRunFacts(folder.Path("")).duration, "");
    folder.Write(log, start + "2026-01-02 03:04:07.0 [message] Done in 1.5 s.\n");
    const auto run = Reports::ReadRunFacts(folder.Path(""));
    EXPECT_EQ((std::vector<std::string>{run.log_file, run.version, run.date, run.duration}),
              (std::vector<std::string>{log, "1.2.3", "2026-01-02 03:04:05", "1.5 s"}));
    EXPECT_EQ((std::vector<std::uint64_t>{run.finished_files, run.warnings, run.errors}),
              (std::vector<std::uint64_t>{1, 1, 1}));
    const std::vector<std::pair<std::string, std::string>> options = {
        {"input path", "in [a] b"}, {"save path", "out"}, {"alignment ref.", "r.fa"}, {"min. coverage", "0.6"}};
    EXPECT_EQ(run.options, options);
}
