#include "reports/multiqc_content.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <nlohmann/json.hpp>

#include "reports/findings.h"
#include "reports/page_data.h"
#include "reports/shown_text.h"

namespace Reports {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLongestName = 200;

Json Column(const char* key, const char* title, const char* description, const char* format, const char* scale,
            const Json& more) {
    Json column = {{"title", title}, {"description", description}, {"format", format}, {"scale", scale}};
    column.update(more);
    return {{key, std::move(column)}};
}

// The counts of problems. Empty without log files; only the unknown runs if no log file can be read.
Json RunCounts(const Sample& sample) {
    const auto& run = sample.run;
    if (run.logs == 0) {
        return run.unreadable.count > 0 ? Json{{"unknown_runs", UnknownRuns(run)}} : Json::object();
    }
    return {{"unfinished_runs", run.unfinished.count}, {"failed_files", run.failed_files.count},
            {"failed_reads", run.failed_reads.count},  {"other_errors", run.errors.count},
            {"warnings", run.warnings.count},          {"unknown_runs", UnknownRuns(run)},
            {"row_difference", RowDifference(sample)}};
}

// Different names may become equal when their middle or their invalid bytes are replaced, but MultiQC shows only one
// sample for each name.
std::vector<std::string> NamesFor(const std::vector<Sample>& samples) {
    std::vector<std::string> names;
    std::transform(samples.begin(), samples.end(), std::back_inserter(names),
                   [](const Sample& sample) { return ForPage(sample.name, kLongestName); });
    NumberEqual(names);
    return names;
}

std::string Text(const Json& json) {
    return json.dump(2) + "\n";
}

}  // namespace

std::string MultiqcGeneralStatistics(const std::vector<Sample>& samples) {
    const Json per_cent = {{"min", 0}, {"max", 100}, {"suffix", "%"}};
    const Json hidden = {{"min", 0}, {"max", 100}, {"suffix", "%"}, {"hidden", true}};
    const Json bad = {{"min", 0}, {"max", 1}};  // A count of 1 already has the worst colour.
    // The columns have no shared_key, because MultiQC shows columns with the key "read_count" in millions, which turns
    // the figures of a small run into 0.
    const Json columns = {
        Column("reads", "Reads", "Rows of the alignment summary", "{:,.0f}", "Blues", Json::object()),
        Column("aligned_percent", "Aligned", "Share of the reads with an accepted alignment", "{:,.1f}", "RdYlGn",
               per_cent),
        Column("n50", "N50", "N50 of the aligned parts of the reads, in aligned bases", "{:,.0f}", "Purples",
               {{"suffix", " b"}}),
        Column("median_identity", "Identity",
               "Median identity of the aligned reads: correct / aligned bases, gaps left out", "{:,.2f}", "RdYlGn",
               per_cent),
        Column("aligned_bases", "Aligned bases", "Bases aligned to a base, right or wrong", "{:,.0f}", "Greens",
               {{"suffix", " b"}}),
        Column("covered_1x", "\u2265 1X", "Share of the reference covered at least once", "{:,.1f}", "RdYlGn",
               per_cent),
        Column("covered_10x", "\u2265 10X", "Share of the reference covered at least 10 times", "{:,.1f}", "RdYlGn",
               hidden),
        Column("covered_30x", "\u2265 30X", "Share of the reference covered at least 30 times", "{:,.1f}", "RdYlGn",
               per_cent),
        Column("unfinished_runs", "Unfinished", "Runs of the aligner that did not finish", "{:,.0f}", "Reds", bad),
        Column("failed_files", "Failed files", "Input files that were not read to the end", "{:,.0f}", "Reds", bad),
        Column("failed_reads", "Failed reads", "Reads left out because of an error", "{:,.0f}", "Reds", bad),
        Column("other_errors", "Other errors", "All other errors in the log files", "{:,.0f}", "Reds", bad),
        Column("warnings", "Warnings", "Warnings in the log files", "{:,.0f}", "Oranges", bad),
        Column("unknown_runs", "Unknown runs", "Runs whose log file is missing or cannot be read", "{:,.0f}", "Oranges",
               bad),
        Column("row_difference", "Row difference",
               "Difference between the reads in the log files and the rows of the summary", "{:,.0f}", "Reds", bad),
    };
    Json data = Json::object();
    const auto names = NamesFor(samples);
    auto name = names.begin();
    for (const auto& sample : samples) {
        Json row = {{"reads", sample.reads}, {"n50", sample.lengths.N50()}, {"aligned_bases", sample.aligned_bases}};
        if (sample.reads > 0) {
            row["aligned_percent"] = 100.0 * static_cast<double>(sample.Aligned()) / static_cast<double>(sample.reads);
        }
        if (sample.identities.Count() > 0) {
            // RatioCounts has a precision of 0.001 %.
            row["median_identity"] = std::round(1e5 * sample.identities.Median()) / 1e3;
        }
        if (const auto breadth = sample.TotalBreadth()) {
            for (std::size_t i = 0; i < breadth->size(); ++i) {
                row["covered_" + std::to_string(Breadth::kDepths[i]) + "x"] = 100 * (*breadth)[i];
            }
        }
        row.update(RunCounts(sample));
        data[*name++] = std::move(row);
    }
    return Text(
        {{"id", "tavik_alignment"}, {"plot_type", "generalstats"}, {"pconfig", columns}, {"data", std::move(data)}});
}

std::string MultiqcReadsPlot(const std::vector<Sample>& samples) {
    Json data = Json::object();
    const auto names = NamesFor(samples);
    auto name = names.begin();
    for (const auto& sample : samples) {
        data[*name++] = {{"Aligned", sample.Aligned()}, {"Unmapped", sample.unmapped}, {"Rejected", sample.rejected}};
    }
    return Text(
        {{"id", "tavik_alignment_reads"},
         {"section_name", "Aligned reads"},
         {"description",
          "Reads by result. Rejected: the alignment covers too little of the read or of the reference sequence, "
          "whichever is shorter."},
         {"plot_type", "bargraph"},
         {"pconfig", {{"id", "tavik_alignment_reads_plot"}, {"title", "Tavik: aligned reads"}, {"ylab", "Reads"}}},
         {"data", std::move(data)}});
}

}  // namespace Reports
