#include "reports/report.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <set>
#include <stdexcept>
#include <system_error>

#include "common/summary_columns.h"
#include "reports/findings.h"
#include "reports/multiqc_content.h"
#include "reports/output_files.h"
#include "reports/page.h"
#include "reports/page_data.h"
#include "reports/progress.h"
#include "reports/sample.h"
#include "reports/shown_text.h"

namespace Reports {

namespace fs = std::filesystem;

namespace {

constexpr char kGeneralStatisticsFile[] = "alignment_report_mqc.json";
constexpr char kReadsPlotFile[] = "alignment_report_reads_mqc.json";

std::string SummaryPath(const std::string& given) {
    std::error_code unknown;
    return fs::is_directory(given, unknown) ? (fs::path(given) / Common::kSummaryFileName).string() : given;
}

// The elements of the path that may become part of a sample's name, the last one first.
std::vector<std::string> NameParts(const std::string& path) {
    std::error_code unknown;
    auto place = fs::absolute(path, unknown).lexically_normal();
    place = place.filename() == Common::kSummaryFileName ? place.parent_path() : place.replace_extension();
    std::vector<std::string> parts;
    for (; place.has_relative_path(); place = place.parent_path()) {
        parts.push_back(place.filename().string());
    }
    if (parts.empty()) {
        parts.emplace_back("/");
    }
    return parts;
}

std::string PerCent(double ratio) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << 100 * ratio << " %";
    return text.str();
}

void PrintTotals(const Sample& sample) {
    std::cout << sample.name << ": " << Counted(sample.reads, "read") << ", " << sample.Aligned() << " aligned";
    if (sample.identities.Count() > 0) {
        std::cout << " (" << PerCent(static_cast<double>(sample.Aligned()) / static_cast<double>(sample.reads)) << "), "
                  << Counted(sample.aligned_bases, "aligned base") << ", N50 "
                  << Counted(static_cast<std::uint64_t>(sample.lengths.N50()), "base") << ", median identity "
                  << PerCent(sample.identities.Median());
    }
    std::cout << '\n';
}

std::string InOneLine(const Finding& finding) {
    if (finding.messages.empty()) {
        return finding.text;
    }
    const bool is_only_one = finding.messages.size() + finding.more == 1;
    return finding.text + (is_only_one ? ": " : "; the first: ") + ShownMessage(finding.messages.front());
}

std::vector<Sample> CountSamples(const std::vector<std::string>& paths, bool quiet) {
    const auto names = SampleNames(paths);
    const auto detail = DetailFor(paths.size());
    std::vector<Sample> samples;
    std::vector<std::string> messages;  // Printed after the progress display, so that they do not interrupt it.
    Progress progress(paths, quiet);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        try {
            samples.push_back(
                CountSample(paths[i], names[i], detail, [&](std::uint64_t done) { progress.Show(done); }));
            for (const auto& finding : FindingsOf(samples.back())) {
                messages.push_back("Warning: " + samples.back().folder + ": " + InOneLine(finding));
            }
            for (const auto& warning : samples.back().warnings) {
                messages.push_back("Warning: " + warning);
            }
        } catch (const std::runtime_error& error) {
            messages.push_back(std::string("Error: ") + error.what());
        }
        progress.EndFile();
    }
    progress.End();
    for (const auto& message : messages) {
        std::cerr << message << '\n';
    }
    return samples;
}

void WriteReport(const std::vector<Sample>& samples, const Options& options, const fs::path& folder) {
    const auto title = options.title.empty() ? kDefaultTitle : options.title;
    OutputFiles files(folder);
    files.Write(kPageFile, Page(title, PageData(title, samples, std::nullopt)));
    files.Write(kGeneralStatisticsFile, MultiqcGeneralStatistics(samples));
    files.Write(kReadsPlotFile, MultiqcReadsPlot(samples));
    const auto paths = files.Publish();
    if (!options.quiet) {
        for (const auto& sample : samples) {
            PrintTotals(sample);
        }
        for (const auto& path : paths) {
            std::cout << path.string() << '\n';
        }
    }
}

}  // namespace

std::vector<std::string> SampleNames(const std::vector<std::string>& paths) {
    std::vector<std::vector<std::string>> parts;
    std::size_t most = 0;
    for (const auto& path : paths) {
        parts.push_back(NameParts(path));
        most = std::max(most, parts.back().size());
    }
    std::vector<std::string> names(paths.size());
    for (std::size_t taken = 0; taken < most; ++taken) {
        const std::multiset<std::string> before(names.begin(), names.end());
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (taken < parts[i].size() && (taken == 0 || before.count(names[i]) > 1)) {
                names[i] = parts[i][taken] + (taken == 0 ? "" : "/" + names[i]);
            }
        }
    }
    NumberEqual(names);
    return names;
}

int MakeReport(const Options& options) {
    // A write beyond the file size limit then fails like a write to a full disk, instead of killing the program.
    std::signal(SIGXFSZ, SIG_IGN);
    std::vector<std::string> paths;
    for (const auto& given : options.summaries) {
        paths.push_back(SummaryPath(given));
    }
    const auto samples = CountSamples(paths, options.quiet);
    if (samples.empty()) {
        return 1;
    }
    try {
        const fs::path folder = options.output_path.empty() ? samples.front().folder : options.output_path;
        WriteReport(samples, options, folder);
    } catch (const std::runtime_error& error) {
        std::cerr << "Error: " << error.what() << '\n';
        return 1;
    }
    return FlushStandardOutput() && samples.size() == paths.size() ? 0 : 1;
}

}  // namespace Reports
