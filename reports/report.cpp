#include "reports/report.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <unistd.h>
#include <boost/timer/progress_display.hpp>

#include "common/summary_columns.h"
#include "reports/findings.h"
#include "reports/multiqc_content.h"
#include "reports/page.h"
#include "reports/page_data.h"
#include "reports/sample.h"
#include "reports/shown_text.h"

namespace Reports {

namespace fs = std::filesystem;

namespace {

constexpr char kPageFile[] = "alignment_report.html";
constexpr char kGeneralStatisticsFile[] = "alignment_report_mqc.json";
constexpr char kReadsPlotFile[] = "alignment_report_reads_mqc.json";

// How much of all summaries is read, on standard error where that is a terminal.
class Progress {
public:
    Progress(const std::vector<std::string>& paths, bool quiet) {
        std::error_code unknown;
        for (const auto& path : paths) {
            const auto size = fs::file_size(path, unknown);
            all += unknown ? 0 : size;
        }
        if (!quiet && all > 0 && ::isatty(STDERR_FILENO) == 1) {
            display = std::make_unique<boost::timer::progress_display>(kSteps, std::cerr, "", "", "");
        }
    }

    // So much of the current file is read.
    void Show(std::uint64_t bytes) {
        if (display != nullptr) {
            const auto step = std::min<std::uint64_t>((before + bytes) * kSteps / all, kSteps);
            *display += static_cast<unsigned long>(step - std::min<std::uint64_t>(step, display->count()));
        }
    }

    void EndFile(std::uint64_t size) {
        Show(size);
        before += size;
    }

private:
    static constexpr unsigned long kSteps = 100;
    std::uint64_t all = 0;
    std::uint64_t before = 0;  // Bytes of the files that are done.
    std::unique_ptr<boost::timer::progress_display> display;
};

std::string SummaryPath(const std::string& given) {
    std::error_code unknown;
    return fs::is_directory(given, unknown) ? (fs::path(given) / Common::kSummaryFileName).string() : given;
}

// The parts of which a sample's name is made, the last one first.
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

// Written under another name first: an interrupted program leaves no half report.
void WriteFile(const fs::path& path, std::string_view text) {
    auto unfinished = path;
    unfinished += ".part";
    errno = 0;
    std::ofstream stream(unfinished, std::ios_base::binary | std::ios_base::trunc);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    if (!stream) {
        const auto reason = std::generic_category().message(errno);
        std::error_code unknown;
        fs::remove(unfinished, unknown);
        throw std::runtime_error(path.string() + ": could not be written: " + reason);
    }
    fs::rename(unfinished, path);
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
                  << sample.aligned_bases << " aligned bases, N50 " << sample.lengths.N50() << ", median identity "
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
    std::vector<std::string> messages;  // After the progress display, which they would tear.
    Progress progress(paths, quiet);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        std::uint64_t file_size = 0;
        try {
            samples.push_back(CountSample(paths[i], names[i], detail, [&](std::uint64_t done, std::uint64_t size) {
                file_size = size;
                progress.Show(done);
            }));
            for (const auto& finding : FindingsOf(samples.back())) {
                messages.push_back("Warning: " + samples.back().folder + ": " + InOneLine(finding));
            }
            for (const auto& warning : samples.back().warnings) {
                messages.push_back("Warning: " + warning);
            }
        } catch (const std::runtime_error& error) {
            messages.push_back(std::string("Error: ") + error.what());
        }
        progress.EndFile(file_size);
    }
    for (const auto& message : messages) {
        std::cerr << message << '\n';
    }
    return samples;
}

void WriteReport(const std::vector<Sample>& samples, const Options& options, const fs::path& folder) {
    fs::create_directories(folder);
    const auto title = options.title.empty() ? "Alignment report" : options.title;
    WriteFile(folder / kPageFile, Page(title, PageData(title, samples)));
    WriteFile(folder / kGeneralStatisticsFile, MultiqcGeneralStatistics(samples));
    WriteFile(folder / kReadsPlotFile, MultiqcReadsPlot(samples));
    if (!options.quiet) {
        for (const auto& sample : samples) {
            PrintTotals(sample);
        }
        for (const auto* const file : {kPageFile, kGeneralStatisticsFile, kReadsPlotFile}) {
            std::cout << (folder / file).string() << '\n';
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
    std::multiset<std::string> met;
    for (auto& name : names) {
        met.insert(name);
        const auto times = met.count(name);
        name += times > 1 ? " (" + std::to_string(times) + ")" : "";
    }
    return names;
}

int MakeReport(const Options& options) {
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
    return samples.size() == paths.size() ? 0 : 1;
}

}  // namespace Reports
