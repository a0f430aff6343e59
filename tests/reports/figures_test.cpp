// What is counted, against plain computations over all values.

#include <algorithm>
#include <numeric>

#include <gtest/gtest.h>

#include "reports/depth_profile.h"
#include "reports/length_bins.h"
#include "reports/length_counts.h"
#include "reports/page_data.h"
#include "reports/ratio_counts.h"
#include "reports/reference_table.h"
#include "reports/report.h"
#include "reports/run_facts.h"
#include "tests/common/temporary_folder.h"

namespace {

// Figures from 0 to below `end`, the same in every run.
std::vector<std::int32_t> RandomFigures(std::size_t count, std::uint64_t end) {
    static std::uint64_t state = 1;
    std::vector<std::int32_t> figures(count);
    for (auto& figure : figures) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        figure = static_cast<std::int32_t>((state >> 33U) % end);
    }
    return figures;
}

template <typename T>
double MedianOf(std::vector<T> values) {
    std::sort(values.begin(), values.end());
    const auto size = values.size();
    return (static_cast<double>(values[(size - 1) / 2]) + static_cast<double>(values[size / 2])) / 2;
}

std::int32_t N50Of(std::vector<std::int32_t> lengths) {
    std::sort(lengths.rbegin(), lengths.rend());
    const auto bases = std::accumulate(lengths.begin(), lengths.end(), std::int64_t{0});
    std::int64_t passed = 0;
    for (const auto length : lengths) {
        passed += length;
        if (2 * passed >= bases) {
            return length;
        }
    }
    return 0;
}

}  // namespace

TEST(LengthCounts, MedianAndN50AreThoseOfTheSortedLengths) {
    for (const auto& [count, end, tolerance] : {std::tuple{1U, 50U, 0.0},
                                                {2U, 10U, 0.0},
                                                {1001U, 65536U, 0.0},
                                                {20000U, 3000000U, 1.0 / 32768},
                                                {99U, 2147483648U, 1.0 / 32768}}) {
        const auto lengths = RandomFigures(count, end);
        Reports::LengthCounts counts;
        for (const auto length : lengths) {
            counts.Add(length);
        }
        EXPECT_NEAR(counts.Median(), MedianOf(lengths), tolerance * MedianOf(lengths));
        EXPECT_NEAR(counts.N50(), N50Of(lengths), tolerance * N50Of(lengths));
        EXPECT_EQ(counts.Longest(), *std::max_element(lengths.begin(), lengths.end()));
        std::uint64_t sum = 0;
        counts.ForEach([&](std::int32_t, std::uint64_t times) { sum += times; });
        EXPECT_EQ(sum, count);
    }
    // Half of the bases exactly: 4 of 8.
    Reports::LengthCounts even;
    for (const int length : {2, 2, 4}) {
        even.Add(length);
    }
    EXPECT_EQ(even.N50(), 4);
    EXPECT_EQ(Reports::LengthCounts().N50() + Reports::LengthCounts().Median(), 0);
}

TEST(RatioCounts, MedianAndHistogramsAreThoseOfTheRatios) {
    const auto parts = RandomFigures(3001, 5000);
    Reports::RatioCounts counts;
    std::vector<double> ratios;
    std::vector<std::uint64_t> per_mille(1000);
    for (const auto part : parts) {
        counts.Add(part, 4999);
        ratios.push_back(part / 4999.0);
        ++per_mille[std::min(static_cast<std::size_t>(part) * 1000 / 4999, std::size_t{999})];
    }
    EXPECT_NEAR(counts.Median(), MedianOf(ratios), 0.5e-5);
    EXPECT_EQ(counts.ByPerMille(), per_mille);

    Reports::RatioCounts few;  // Q10 is 0.9, Q20 is 0.99; no error at all is in the last bin.
    for (const int correct : {899, 901, 989, 991, 1000}) {
        few.Add(correct, 1000);
    }
    std::vector<std::uint64_t> qualities(101);
    qualities[19] = qualities[20] = qualities[39] = qualities[40] = qualities[100] = 1;
    EXPECT_EQ(few.ByQuality(), qualities);
}

TEST(LengthBins, BeginAtRoundedUpPowers) {
    const Reports::LengthBins bins(20);
    for (const auto& [length, bin] : {std::pair{0, 0U},
                                      {9, 19U},
                                      {10, 20U},
                                      {11, 20U},
                                      {12, 21U},
                                      {99999, 99U},
                                      {100000, 100U},
                                      {112201, 100U},
                                      {112202, 101U},
                                      {1000000000, 180U}}) {
        EXPECT_EQ(bins.BinOf(length), bin) << length;
    }
    EXPECT_EQ(bins.BinOf(2147483647), bins.Count() - 1);
}

TEST(DepthProfile, MeansAreThoseOfTheSinglePositions) {
    for (const auto& [length, most_bins] : {std::pair{1, 400U}, {399, 400U}, {1000, 7U}, {801, 400U}}) {
        Reports::DepthProfile profile(length, most_bins);
        std::vector<int> depth(static_cast<std::size_t>(length));
        const auto ends = RandomFigures(400, static_cast<std::uint64_t>(length) + 1);
        for (std::size_t i = 0; i < ends.size(); i += 2) {
            const auto [start, end] = std::minmax(ends[i], ends[i + 1]);
            profile.Add(start, end);
            for (int position = start; position < end; ++position) {
                ++depth[static_cast<std::size_t>(position)];
            }
        }
        std::vector<double> means;
        for (int start = 0; start < length; start += profile.BinWidth()) {
            const auto end = std::min(start + profile.BinWidth(), length);
            means.push_back(static_cast<double>(std::accumulate(depth.begin() + start, depth.begin() + end, 0)) /
                            (end - start));
        }
        EXPECT_LE(means.size(), most_bins);
        const auto found = profile.MeanDepths();
        ASSERT_EQ(found.size(), means.size());
        for (std::size_t i = 0; i < means.size(); ++i) {
            EXPECT_NEAR(found[i], means[i], 1e-9) << i;
        }
    }
}

TEST(ReferenceTable, NamesOfTheSamFilesDecideWhatEndsInRc) {
    struct Case {
        std::string genome, name;
        bool is_reverse;
    };
    const std::vector<std::pair<Reports::ReferenceLengths, std::vector<Case>>> tables = {
        // Without SAM files the end of the name is taken for the strand, whatever came before.
        {{}, {{"x_rc_rc", "x_rc", true}, {"x_rc", "x", true}, {"x", "x", false}, {"_rc", "_rc", false}}},
        {{{"x_rc", 9}}, {{"x_rc", "x_rc", false}, {"x_rc_rc", "x_rc", true}, {"y_rc", "y", true}}},
        {{{"x", 9}, {"y", 5}}, {{"x_rc", "x", true}, {"x", "x", false}, {"y_rc", "y", true}}},
        {{{"x", 9}, {"x_rc", 8}}, {{"x_rc", "x", true}, {"x_rc_rc", "x_rc", true}, {"x", "x", false}}},
    };
    for (const auto& [lengths, cases] : tables) {
        Reports::ReferenceTable table(lengths);
        for (const auto& [genome, name, is_reverse] : cases) {
            for (int repeat = 0; repeat < 2; ++repeat) {
                const auto hit = table.Find(genome);
                EXPECT_EQ(table.At(hit.reference).name, name) << genome;
                EXPECT_EQ(hit.is_reverse, is_reverse) << genome;
            }
        }
        EXPECT_EQ(table.AmbiguousNames().size(), lengths.count("x") * lengths.count("x_rc"));
    }
}

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
