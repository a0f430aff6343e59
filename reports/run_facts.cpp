#include "reports/run_facts.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace Reports {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kLogFile = "read_processor_log-";
constexpr std::string_view kBanner = "QEL Tavik alignment software version ";
constexpr std::array<std::string_view, 4> kOptions = {"input path:", "save path:", "alignment ref.:", "min. coverage:"};

// The date in their names puts log files in order.
fs::path LastLogFile(const std::string& folder) {
    fs::path last;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const auto name = entry->path().filename().string();
        if (name.starts_with(kLogFile) && name.ends_with(".log") && name > last.filename().string()) {
            last = entry->path();
        }
    }
    return last;
}

std::string WithoutBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return std::string(text);
}

// The lines behind the banner's first one.
void ReadOptions(std::istream& stream, RunFacts& facts) {
    std::string line;
    for (const auto option : kOptions) {
        if (!std::getline(stream, line) || !line.starts_with(option)) {
            return;
        }
        facts.options.emplace_back(option.substr(0, option.size() - 1),
                                   WithoutBlanks(std::string_view(line).substr(option.size())));
    }
}

// One record, in front of which stand the date and, in brackets, the severity.
void ReadRecord(const std::string& line, std::istream& stream, RunFacts& facts) {
    const auto mark = line.find('[');
    const auto end = line.find("] ", mark);
    if (mark == std::string::npos || end == std::string::npos) {
        return;
    }
    const auto severity = std::string_view(line).substr(mark + 1, end - mark - 1);
    const auto message = std::string_view(line).substr(end + 2);
    if (message.starts_with(kBanner)) {
        // Runs within one second share a file: the last one counts.
        RunFacts run;
        run.log_file = facts.log_file;
        run.version = message.substr(kBanner.size());
        run.date = line.substr(0, line.find('.'));
        facts = std::move(run);
        ReadOptions(stream, facts);
    } else if (severity == "warning") {
        ++facts.warnings;
    } else if (severity == "error") {
        ++facts.errors;
    } else if (message.starts_with("Successfully finished input file ")) {
        ++facts.finished_files;
    } else if (message.starts_with("Done in ")) {
        facts.duration = message.substr(8, message.rfind('.') - 8);
    }
}

}  // namespace

RunFacts ReadRunFacts(const std::string& folder) {
    RunFacts facts;
    const auto path = LastLogFile(folder);
    std::ifstream stream(path);
    if (path.empty() || !stream) {
        return facts;
    }
    facts.log_file = path.filename().string();
    std::string line;
    while (std::getline(stream, line)) {
        // Further lines of a message do not begin with a date.
        if (line.starts_with("20")) {
            ReadRecord(line, stream, facts);
        }
    }
    return facts;
}

}  // namespace Reports
