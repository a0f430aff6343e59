#include "reports/findings.h"

#include <algorithm>

#include "reports/shown_text.h"

namespace Reports {

namespace {

// "run ..." for a single run, "2 of 12 runs ..." for several.
std::string OfRuns(std::uint64_t count, const RunFacts& run, const std::string& what) {
    return (run.runs == 1 ? "run " : std::to_string(count) + " of " + Counted(run.runs, "run") + " ") + what;
}

bool IsWhole(const RunFacts& run) {
    return !run.in_progress && run.logs == run.runs && run.unfinished.count + run.failed_files.count == 0;
}

}  // namespace

std::vector<Finding> FindingsOf(const Sample& sample) {
    std::vector<Finding> findings;
    const auto add = [&findings](bool is_error, const Messages& messages, const std::string& text) {
        if (messages.count > 0) {
            findings.push_back({is_error, text, messages.first, messages.count - messages.first.size()});
        }
    };
    const auto& run = sample.run;
    if (!run.in_progress) {
        add(true, run.unfinished, OfRuns(run.unfinished.count, run, "not finished"));
    }
    add(true, run.failed_files, Counted(run.failed_files.count, "input file") + " failed");
    add(true, run.failed_reads, Counted(run.failed_reads.count, "read") + " failed");
    add(true, run.errors, Counted(run.errors.count, "other error"));
    if (RowDifference(sample) > 0) {
        findings.push_back({true,
                            "the log counts " + Counted(run.finished_reads, "read") + ", but the summary has " +
                                Counted(sample.reads, "row"),
                            {}});
    }
    add(false, run.unreadable, OfRuns(run.unreadable.count, run, "with an unreadable log file"));
    if (run.logs + run.unreadable.count > 0) {
        add(false, run.missing, OfRuns(run.missing.count, run, "without a log file"));
    }
    add(false, run.warnings, Counted(run.warnings.count, "warning"));
    return findings;
}

std::uint64_t RowDifference(const Sample& sample) {
    if (!IsWhole(sample.run)) {
        return 0;
    }
    const auto [fewer, more] = std::minmax(sample.run.finished_reads, sample.reads);
    return more - fewer;
}

std::uint64_t UnknownRuns(const RunFacts& run) {
    return run.logs + run.unreadable.count > 0 ? run.missing.count + run.unreadable.count : 0;
}

}  // namespace Reports
