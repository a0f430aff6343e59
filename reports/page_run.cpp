#include "reports/page_run.h"

#include <cctype>
#include <filesystem>

#include "reports/findings.h"
#include "reports/page_data.h"
#include "reports/shown_text.h"

namespace Reports {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLongestFact = 400;

// The first few values and the number of the others.
std::string Listed(const std::set<std::string>& values) {
    constexpr std::size_t kMost = 3;
    std::string list;
    std::size_t shown = 0;
    for (const auto& value : values) {
        if (shown == kMost) {
            return list + " and " + Counted(values.size() - kMost, "other");
        }
        list += (shown++ == 0 ? "" : ", ") + value;
    }
    return list;
}

std::string TimeTaken(const RunFacts& run) {
    if (run.runs > 1) {
        return Duration(run.milliseconds) + ", " + Counted(run.logs - run.unfinished.count, "run") + " together";
    }
    return run.in_progress || run.unfinished.count > 0 ? "not finished" : Duration(run.milliseconds);
}

}  // namespace

Json RunData(const RunFacts& run) {
    auto facts = Json::array();
    const auto add = [&facts](const std::string& name, const std::string& value) {
        facts.push_back({name, ForPage(value, kLongestFact)});
    };
    if (run.logs == 0) {
        const auto* const reason = run.unreadable.count == 0 ? "no log file" : "unreadable";
        add("log file", std::string(reason) + ": it is unknown whether the run finished");
        return facts;
    }
    add("aligner version", Listed(run.versions));
    add("started", run.begin);
    if (run.runs > 1) {
        add("ended", run.end);
    }
    add("took", TimeTaken(run));
    for (const auto& [name, values] : run.options) {
        if (run.runs > 1 && name == "save path") {
            continue;  // Each run has its own save path.
        }
        const bool is_list = name == "input path" && values == std::set<std::string>{""};
        add(name, is_list ? "a list on standard input" : Listed(values));
    }
    add("input files read", std::to_string(run.finished_files));
    add("warnings and errors", std::to_string(run.warnings.count) + " and " +
                                   std::to_string(run.failed_files.count + run.failed_reads.count + run.errors.count));
    if (run.runs > 1) {
        add("log files", std::to_string(run.logs) + " (for " + Counted(run.runs, "run") + ")");
    } else {
        add("log file", std::filesystem::path(run.log_file).filename().string());
    }
    return facts;
}

Json FindingsData(const Sample& sample) {
    auto findings = Json::array();
    for (const auto& finding : FindingsOf(sample)) {
        auto text = finding.text;
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
        auto messages = Json::array();
        for (const auto& message : finding.messages) {
            messages.push_back(ForPage(message, kLongestFact));
        }
        findings.push_back({{"level", finding.is_error ? "error" : "warning"},
                            {"text", text},
                            {"messages", std::move(messages)},
                            {"more", finding.more}});
    }
    for (const auto& warning : sample.warnings) {
        findings.push_back(
            {{"level", "warning"}, {"text", ForPage(warning, kLongestFact)}, {"messages", Json::array()}, {"more", 0}});
    }
    return findings;
}

}  // namespace Reports
