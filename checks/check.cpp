#include "checks/check.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>
#include <system_error>
#include <utility>

#include "checks/file_comparison.h"
#include "checks/files_table.h"
#include "checks/input_list.h"
#include "checks/run_log.h"
#include "checks/texts.h"
#include "common/summary_columns.h"

namespace Checks {

namespace fs = std::filesystem;

namespace {

class Check {
public:
    Check(const Options& options, InputList input)
        : options(options), input(std::move(input)), run(ReadRunLog(options.save_folder)), findings(run.findings) {}

    std::vector<std::string> Findings() {
        if (run.failed_reads.size() > options.allowed_failed_reads) {
            Append(run.failed_reads);
        }
        if (input.files.empty()) {
            findings.emplace_back("there are no input files");
        }
        if (!run.input_path) {
            return findings;
        }
        if (!input.folder.empty() && run.input_path->empty()) {
            findings.push_back("the run read a list of files, so give that list instead of " + input.folder);
            return findings;
        }
        NameFiles();
        CheckNames();
        CompareFiles();
        return findings;
    }

    const RunLog& Run() const { return run; }
    std::size_t Files() const { return input.files.size(); }

    std::uint64_t LoggedReads() const {
        return std::accumulate(run.files.begin(), run.files.end(), std::uint64_t{0}, [](auto sum, const auto& file) {
            return sum + static_cast<std::uint64_t>(std::max<std::int64_t>(file.reads.value_or(0), 0));
        });
    }

    void WriteTable() const {
        errno = 0;
        std::ofstream table(options.table, std::ios_base::binary);
        WriteFilesTableHeader(table);
        for (const auto& file : run.files) {
            WriteFilesTableLine(table, static_cast<std::uint64_t>(*file.reads), SamName(file.file, *run.input_path),
                                file.file);
        }
        table.close();
        if (!table) {
            throw std::system_error(errno, std::generic_category(), options.table);
        }
    }

private:
    void Append(const std::vector<std::string>& more) { findings.insert(findings.end(), more.begin(), more.end()); }

    // In the log, file names begin with the run's input path. The path given to tavik_check may differ.
    void NameFiles() {
        auto base = *run.input_path;
        if (base.size() > 1 && base.back() == '/') {
            base.pop_back();
        }
        for (const auto& file : input.files) {
            const bool listed = input.folder.empty();
            names.push_back(listed ? file : (fs::path(base) / file).string());
            paths.emplace(names.back(), listed ? file : (fs::path(input.folder) / file).string());
        }
    }

    void CheckNames() {
        std::map<std::string, std::uint64_t> times;
        for (const auto& name : names) {
            ++times[name];
        }
        std::map<std::string, std::string> owners;  // Input files by SAM file.
        for (const auto& name : names) {
            const auto count = std::exchange(times[name], 0);
            if (count == 0) {
                continue;
            }
            if (count > 1) {
                findings.push_back(name + ": listed " + std::to_string(count) + " times");
            }
            const auto [owner, is_new] = owners.emplace(SamName(name, *run.input_path), name);
            if (!is_new) {
                findings.push_back(name + ": its SAM file " + owner->first + " is also that of " + owner->second);
                owner->second = name;
            }
        }
        for (const auto& logged : run.files) {
            if (paths.count(logged.file) == 0) {
                findings.push_back(logged.file + ": in the log, but not in the input");
            }
        }
    }

    void CompareFiles() {
        std::map<std::string, const LoggedFile*> last_users;  // Input files by SAM file.
        for (const auto& logged : run.files) {
            last_users[SamName(logged.file, *run.input_path)] = &logged;
        }
        const fs::path folder(options.save_folder);
        FileComparison comparison((folder / Common::kSummaryFileName).string(), run.done);
        for (const auto& logged : run.files) {
            const auto sam = SamName(logged.file, *run.input_path);
            const auto path = paths.find(logged.file);
            const auto known = path == paths.end() ? std::nullopt : std::optional(path->second);
            comparison.Compare(logged, {known, (folder / sam).string(), last_users[sam] == &logged});
        }
        const bool all_finished = run.done && std::all_of(run.files.begin(), run.files.end(),
                                                          [](const auto& logged) { return logged.reads.has_value(); });
        for (const auto& logged : run.files) {
            paths.erase(logged.file);
        }
        for (const auto& name : names) {
            if (const auto path = paths.find(name); path != paths.end()) {
                comparison.AddUnfinished(path->second);
                paths.erase(path);
            }
        }
        Append(comparison.Finish(all_finished ? std::optional(LoggedReads()) : std::nullopt));
    }

    const Options& options;
    const InputList input;
    const RunLog run;
    std::vector<std::string> findings;
    std::vector<std::string> names;            // Names of the input files, as in the log.
    std::map<std::string, std::string> paths;  // Paths of the input files, by name.
};

}  // namespace

int CheckRun(const Options& options) {
    Check check(options, FindInput(options.input, options.recursive));
    const auto findings = check.Findings();
    for (const auto& finding : findings) {
        std::cout << Printable(finding) << '\n';
    }
    if (findings.empty()) {
        const auto failed = check.Run().failed_reads.size();
        std::cout << Plural(check.Files(), "file") << ", " << Plural(check.LoggedReads(), "read") << ": nothing lost"
                  << (failed > 0 ? ", " + std::to_string(failed) + " failed as allowed" : "") << '\n';
        if (!options.table.empty()) {
            check.WriteTable();
        }
    }
    if (!std::cout.flush()) {
        // The write that failed may be an earlier one. Nothing since then has changed errno.
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
    return findings.empty() ? kNothingLost : kLost;
}

}  // namespace Checks
