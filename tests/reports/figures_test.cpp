#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "reports/multiqc_content.h"
#include "reports/page_data.h"
#include "reports/report.h"
#include "reports/shown_text.h"
#include "tests/common/temporary_folder.h"

TEST(SampleNames, UseAsMuchOfThePathAsMakesThemUnique) {
    const std::string file = "/alignment_summary.txt";
    const std::vector<std::string> paths = {"/a/run1/out" + file, "/b/run1/out" + file, "/b/run2/out" + file,
                                            "/c/lambda" + file,   "/c/my.rows.txt",     "/c/../c/lambda" + file};
    EXPECT_EQ(Reports::SampleNames(paths), (std::vector<std::string>{"a/run1/out", "b/run1/out", "run2/out", "c/lambda",
                                                                     "my.rows", "c/lambda (2)"}));
    EXPECT_EQ(Reports::SampleNames({"/x.txt", "/x.txt", "/x (2).txt", "/x.txt"}),
              (std::vector<std::string>{"x", "x (3)", "x (2)", "x (4)"}));
}

// The first two names differ only in the part of a long name that is left out, the other two only in a byte that
// is not UTF-8.
TEST(MultiqcContent, HasARowForEverySample) {
    const std::string longest(250, 'a');
    std::vector<Reports::Sample> samples;
    for (const auto& name :
         {std::string(longest).replace(150, 1, "b"), longest, std::string("b\xfe"), std::string("b\xff")}) {
        samples.emplace_back(name, Reports::ReferenceLengths(), Reports::Detail());
    }
    for (const auto& file : {Reports::MultiqcGeneralStatistics(samples), Reports::MultiqcReadsPlot(samples)}) {
        EXPECT_EQ(nlohmann::json::parse(file)["data"].size(), samples.size());
    }
}

TEST(ForPage, IsValidUtf8AndShort) {
    EXPECT_EQ(Reports::ForPage("a\xff\xc3(\xe2\x82", 80), "a\xef\xbf\xbd\xef\xbf\xbd(\xef\xbf\xbd");
    EXPECT_EQ(Reports::ForPage("0123456789", 10), "0123456789");
    EXPECT_EQ(Reports::ForPage("0123456789x", 10),
              "012345\xe2\x80\xa6"
              "89x");
    EXPECT_LE(Reports::ForPage(std::string(10000, '\x80'), 80).size(), 240U);
}

TEST(ShownText, CountsAndTimesHaveUnits) {
    EXPECT_EQ(Reports::Counted(0, "read") + Reports::Counted(1, "read") + Reports::Counted(2, "read"),
              "0 reads1 read2 reads");
    const std::vector<std::pair<std::uint64_t, std::string>> times = {
        {999, "999 ms"},         {1000, "1.0 s"},         {12'003, "12.0 s"},         {59'999, "59.9 s"},
        {60'000, "1 min 0 s"},   {200'000, "3 min 20 s"}, {3'599'999, "59 min 59 s"}, {3'600'000, "1 h 0 min"},
        {7'560'000, "2 h 6 min"}};
    for (const auto& [milliseconds, text] : times) {
        EXPECT_EQ(Reports::Duration(milliseconds), text);
    }
}
