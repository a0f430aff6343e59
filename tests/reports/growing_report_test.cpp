#include "reports/growing_report.h"

#include <gtest/gtest.h>

#include "common/summary_columns.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

// While a round is published, its rows are counted before its records are in the log. There may then be more rows than
// reads in the log. The page says "not finished" even if the log contains the end of the run.
TEST(GrowingReport, ShowsAnUnfinishedRunWithoutFindings) {
    std::string summary;
    for (const auto column : Common::kSummaryColumns) {
        summary.append(summary.empty() ? "" : "\t").append(column);
    }
    summary += "\n";
    for (const auto* const read : {"r1", "r2", "r3"}) {
        summary += std::string(read) + "\t*\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\t-1\n";
    }
    const std::string date = "2026-01-02 03:04:05.678901 ";
    const auto begin = date + "[message] QEL Tavik alignment software version 1.0.0\n" + date +
                       "[info] Successfully finished input file a (2 reads)\n";
    for (const auto& end : {std::string(), date + "[message] Done in 5 ms.\n"}) {
        const Tests::TemporaryFolder folder;
        folder.Write("read_processor_log-2026-01-02_03-04-05.log", begin + end);
        Reports::GrowingReport report(folder.Path(""));
        report.Count(folder.Write("rows", summary), folder.Path(""));
        report.Write({});
        const auto page = Tests::ReadAll(folder.Path("alignment_report.html"));
        EXPECT_NE(page.find(R"("reads":3,)"), std::string::npos) << end;
        EXPECT_NE(page.find(R"(["took","not finished"])"), std::string::npos) << end;
        EXPECT_NE(page.find(R"("findings":[]})"), std::string::npos) << end;
    }
}
