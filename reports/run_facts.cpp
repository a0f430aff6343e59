#include "reports/run_facts.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "common/run_logs.h"
#include "reports/run_folders.h"

namespace Reports {

namespace fs = std::filesystem;

namespace {

std::string WhereItEnds(const RunLog& log) {
    return "the log file ends" + (log.end.empty() ? "" : " at " + log.end) +
           (log.current_file.empty() ? "" : ", within input file " + log.current_file) +
           ": the run was interrupted or is still running";
}

// Adds the facts in `log` to `facts`, with `origin` before each message.
void Add(const RunLog& log, const std::string& origin, RunFacts& facts) {
    facts.begin = facts.begin.empty() || log.begin.empty() ? facts.begin + log.begin : std::min(facts.begin, log.begin);
    facts.end = std::max(facts.end, log.end);
    facts.milliseconds += log.milliseconds;
    if (!log.version.empty()) {
        facts.versions.insert(log.version);
    }
    for (const auto& [name, value] : log.options) {
        facts.options[name].insert(value);
    }
    facts.finished_files += log.finished_files;
    facts.finished_reads += log.finished_reads;
    if (!log.is_finished) {
        facts.unfinished.Add(origin + WhereItEnds(log));
    }
    facts.failed_files.Add(log.failed_files, origin);
    facts.failed_reads.Add(log.failed_reads, origin);
    facts.errors.Add(log.errors, origin);
    facts.warnings.Add(log.warnings, origin);
}

}  // namespace

RunFacts ReadRunFacts(const std::string& folder) {
    const auto folders = RunFolders(folder);
    RunFacts facts;
    facts.runs = folders.size();
    for (const auto& run : folders) {
        const auto origin = run == folder ? "" : fs::path(run).lexically_relative(folder).string() + ": ";
        std::error_code unknown;
        const auto log_file = Common::NewestRunLog(run, unknown);
        if (log_file.empty()) {
            facts.missing.Add(fs::path(run).lexically_relative(folder).string());
            continue;
        }
        try {
            Add(ReadRunLog(log_file), origin, facts);
            ++facts.logs;
            facts.log_file = log_file;
        } catch (const std::runtime_error& error) {
            facts.unreadable.Add(log_file + ": " + error.what());
        }
    }
    return facts;
}

}  // namespace Reports
