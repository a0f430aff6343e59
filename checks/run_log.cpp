#include "checks/run_log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "checks/texts.h"
#include "common/run_logs.h"

namespace Checks {

namespace {

constexpr std::string_view kInputPath = "\ninput path:         ";
constexpr std::string_view kNoName = "[invalid read id]";

struct LogRecord {
    std::string severity;
    std::string text;  // May have several lines.
};

// True if `text` begins with `form`, in which 0 matches any digit.
bool HasForm(std::string_view text, std::string_view form) {
    return text.size() >= form.size() &&
           std::equal(form.begin(), form.end(), text.begin(), [](char expected, char letter) {
               return expected == '0' ? letter >= '0' && letter <= '9' : letter == expected;
           });
}

// Splits the first line of a record, which consists of the date and time, an optional source, the severity in brackets
// and the text. Returns false for any other line.
bool BeginsRecord(const std::string& line, LogRecord& record) {
    static constexpr std::array<std::string_view, 6> kSeverities = {"trace", "verbose", "message",
                                                                    "info",  "warning", "error"};
    if (!HasForm(line, "0000-00-00 00:00:00.0")) {
        return false;
    }
    for (auto mark = line.find('['); mark != std::string::npos; mark = line.find('[', mark + 1)) {
        const auto end = line.find("] ", mark);
        if (end == std::string::npos) {
            return false;
        }
        record.severity = line.substr(mark + 1, end - mark - 1);
        if (std::find(kSeverities.begin(), kSeverities.end(), record.severity) != kSeverities.end()) {
            record.text = line.substr(end + 2);
            return true;
        }
    }
    return false;
}

bool IsBanner(const LogRecord& record) {
    return record.text.starts_with(Common::kLoggedBanner);
}

std::string InputPath(const std::string& banner) {
    const auto label = banner.find(kInputPath);
    if (label == std::string::npos) {
        return "";
    }
    const auto begin = label + kInputPath.size();
    return banner.substr(begin, banner.find('\n', begin) - begin);
}

void TakeFailedRead(std::string_view text, LoggedFile& file) {
    ++file.failed_reads;
    if (!text.starts_with(Common::kLoggedReadError)) {
        return;
    }
    text.remove_prefix(Common::kLoggedReadError.size());
    if (!text.starts_with(kNoName)) {
        // An identifier contains no blank and is followed by ": " or ". ".
        file.failed_names.emplace_back(text.substr(0, text.find(' ') - 1));
    }
}

// `text`: "FILE (COUNT reads)".
void TakeFinishedFile(std::string_view text, LoggedFile& file) {
    constexpr std::string_view kEnd = " reads)";
    if (!text.starts_with(file.file) || !text.ends_with(kEnd)) {
        return;
    }
    text.remove_suffix(kEnd.size());
    const auto count = text.rfind(" (");
    std::int64_t reads = 0;
    if (count != std::string_view::npos &&
        std::from_chars(text.data() + count + 2, text.data() + text.size(), reads).ec == std::errc()) {
        file.reads = reads;
    }
}

void TakeProblem(const LogRecord& record, RunLog& run) {
    LoggedFile* const file = run.files.empty() || run.files.back().reads ? nullptr : &run.files.back();
    auto& findings = record.text.ends_with(Common::kLoggedReadSkipped) && record.severity == "error" ? run.failed_reads
                                                                                                     : run.findings;
    findings.push_back(record.severity + " in the log: " + OneLine(record.text));
    if (file == nullptr) {
        return;
    }
    if (&findings == &run.failed_reads) {
        TakeFailedRead(record.text, *file);
    } else {
        file->problems.push_back(record.text);
    }
}

void Take(const LogRecord& record, RunLog& run) {
    const std::string_view text = record.text;
    if (IsBanner(record)) {
        run.input_path = InputPath(record.text);
    } else if (record.severity == "warning" || record.severity == "error") {
        TakeProblem(record, run);
    } else if (text.starts_with(Common::kLoggedFileStart)) {
        run.files.emplace_back().file = text.substr(Common::kLoggedFileStart.size());
    } else if (text.starts_with(Common::kLoggedFileEnd) && !run.files.empty()) {
        TakeFinishedFile(text.substr(Common::kLoggedFileEnd.size()), run.files.back());
    } else if (text.starts_with("Done in ") && text.ends_with(" ms.")) {
        run.done = true;
    }
}

// Finds the last run in a log file. Runs that begin in the same second and have the same save folder share a log file.
class NewestRun {
public:
    void Add(const LogRecord& record) {
        if (run.done && !IsBanner(record)) {
            after_end.push_back(record);  // Part of this run or, if a banner follows, of the next run.
            return;
        }
        if (IsBanner(record) && run.input_path) {
            run = {};
            for (const auto& earlier : std::exchange(after_end, {})) {
                Take(earlier, run);
            }
        }
        Take(record, run);
    }

    RunLog End() {
        for (const auto& record : after_end) {
            Take(record, run);
        }
        return std::move(run);
    }

private:
    RunLog run;
    std::vector<LogRecord> after_end;
};

}  // namespace

RunLog ReadRunLog(const std::string& save_folder) {
    RunLog none;
    std::error_code error;
    const auto path = Common::NewestRunLog(save_folder, error);
    if (error && error != std::errc::no_such_file_or_directory) {
        none.findings.push_back(save_folder + ": " + error.message());
        return none;
    }
    if (path.empty()) {
        none.findings.push_back(save_folder + ": no log file, so no run took place here");
        return none;
    }
    std::ifstream stream(path, std::ios_base::binary);
    if (!stream) {
        none.findings.push_back(path + ": " + std::generic_category().message(errno));
        return none;
    }
    NewestRun newest;
    LogRecord record;
    LogRecord next;
    bool any = false;
    for (std::string line; std::getline(stream, line);) {
        if (BeginsRecord(line, next)) {
            if (any) {
                newest.Add(record);
            }
            any = true;
            std::swap(record, next);
        } else {
            record.text += "\n" + line;
        }
    }
    if (any) {
        newest.Add(record);
    }
    auto run = newest.End();
    run.path = path;
    if (!run.done) {
        run.findings.push_back(path + ": the run did not finish");
    }
    return run;
}

}  // namespace Checks
