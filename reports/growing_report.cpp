#include "reports/growing_report.h"

#include <filesystem>

#include "common/summary_columns.h"
#include "reports/output_files.h"
#include "reports/page.h"
#include "reports/page_data.h"
#include "reports/report.h"
#include "reports/summary_reader.h"

namespace Reports {

void GrowingReport::Count(const std::string& summary, const std::string& sam_folder) {
    SummaryReader reader(summary);
    if (!sample) {
        std::vector<std::string> warnings;
        const auto lengths = ReadSamReferences(sam_folder, warnings);
        const auto name = SampleNames({(std::filesystem::path(folder) / Common::kSummaryFileName).string()}).front();
        sample.emplace(name, lengths, Detail{});
        sample->folder = folder;
        sample->warnings = std::move(warnings);
    }
    SummaryRow row;
    while (reader.Next(row)) {
        sample->Add(row);
    }
}

void GrowingReport::Write(const LiveNote& note) {
    sample->TakeBreadth();
    sample->run = ReadRunFacts(folder);
    sample->run.in_progress = true;
    OutputFiles files(folder);
    files.Write(kPageFile, Page(kDefaultTitle, PageData(kDefaultTitle, {&*sample, 1}, note)));
    files.Publish();
}

}  // namespace Reports
