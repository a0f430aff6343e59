#include "live/round.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <stdexcept>
#include <system_error>

#include <boost/algorithm/string/replace.hpp>

#include "checks/file_comparison.h"
#include "checks/input_list.h"
#include "checks/run_log.h"
#include "checks/sam_file.h"
#include "checks/texts.h"
#include "common/line_reader.h"
#include "common/run_logs.h"
#include "common/sequencing_file.h"
#include "common/summary_columns.h"
#include "live/disk_files.h"
#include "live/round_log.h"

namespace Live {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16U;
constexpr std::size_t kLongestLine = std::numeric_limits<std::uint32_t>::max();

// The findings about the run, without those that only repeat the problem of a file.
std::vector<std::string> OtherFindings(const Checks::RunLog& run) {
    std::multiset<std::string> of_files;
    for (const auto& file : run.files) {
        for (const auto& problem : file.problems) {
            of_files.insert(Checks::OneLine(problem));
        }
    }
    std::vector<std::string> others;
    for (const auto& finding : run.findings) {
        constexpr std::string_view kMark = " in the log: ";
        const auto mark = finding.find(kMark);
        const auto known =
            mark == std::string::npos ? of_files.end() : of_files.find(finding.substr(mark + kMark.size()));
        if (known == of_files.end()) {
            others.push_back(finding);
        } else {
            of_files.erase(known);
        }
    }
    return others;
}

std::string WithoutStart(const std::string& text, const std::string& start) {
    return text.starts_with(start) ? text.substr(start.size()) : text;
}

// The reason in the aligner's error about a file, without the words that all such errors share.
std::string ReasonIn(const std::string& problem, const std::string& file) {
    constexpr std::string_view kEnd = " Will continue with next input file.";
    auto reason = WithoutStart(problem, std::string(Common::kLoggedFileError) + file + ": ");
    if (reason.ends_with(kEnd)) {
        reason.resize(reason.size() - kEnd.size() - (reason.ends_with("." + std::string(kEnd)) ? 1 : 0));
    }
    return reason;
}

// The number of reads in the SAM file of a lost input file. These reads have rows in the summary too.
std::uint64_t CountReads(const std::string& sam) {
    std::uint64_t count = 0;
    try {
        Checks::SamHeaders headers;
        Checks::SamFile file(sam, headers);
        for (Checks::SamRead read; file.Next(read);) {
            ++count;
        }
    } catch (const std::runtime_error&) {
        // If the count is too low, JudgeFiles finds that the summary has more rows.
    }
    return count;
}

void Write(const std::string& path, const std::string& text) {
    errno = 0;
    std::ofstream stream(path, std::ios_base::binary | std::ios_base::trunc);
    stream << text;
    stream.close();
    if (!stream) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

}  // namespace

std::string Outcome::HowEnded() const {
    return status < 0 ? "the aligner was ended by signal " + std::to_string(-status)
                      : "the aligner ended with status " + std::to_string(status);
}

void Outcome::BlameFiles() {
    if (findings.empty()) {
        return;
    }
    const auto reason = status == 0 ? findings.front() : HowEnded();
    for (std::size_t i = 0; i < files.size(); ++i) {
        const bool is_blamed = interrupted ? *interrupted == i : files[i].kind != FileOutcome::Kind::not_begun;
        files[i] = {is_blamed ? FileOutcome::Kind::lost : FileOutcome::Kind::not_begun, 0, {reason}};
    }
}

void DecompressOnce(std::vector<RoundFile>& files) {
    constexpr std::uint64_t kMostMemory = std::uint64_t{256} << 20U;
    constexpr std::uint64_t kMostRatio = 3;  // The text of a gzip file with reads is about twice as long as the file.
    // Each text takes a file descriptor, and the usual limit is 1024 for a process.
    std::size_t left = 32;
    std::uint64_t used = 0;
    for (auto& file : files) {
        if (left == 0 || Common::HasReadFileExtension(file.path) || file.stamp.size * kMostRatio > kMostMemory - used) {
            continue;
        }
        file.text = GzipText::Of(file.path, kMostMemory - used);
        if (file.text) {
            used += file.text->Size();
            --left;
        }
    }
}

Round::Round(std::string round_folder, std::vector<RoundFile> round_files)
    : folder(std::move(round_folder)), files(std::move(round_files)) {
    fs::remove_all(folder);
    fs::create_directories(folder + "/reads");
    std::string list;
    for (std::size_t i = 0; i < files.size(); ++i) {
        fs::create_symlink(files[i].text ? files[i].text->Path() : fs::absolute(files[i].path).string(), Link(i));
        list += Link(i) + '\n';
    }
    Write(ListPath(), list);
}

std::string Round::Link(std::size_t file) const {
    const bool is_plain = files[file].text || Common::HasReadFileExtension(files[file].path);
    return folder + "/reads/" + std::to_string(file) + (is_plain ? ".fastq" : ".fastq.gz");
}

std::string Round::Sam(std::size_t file) const {
    return folder + "/" + Checks::SamName(Link(file), "");
}

std::string Round::WithNames(std::string text, std::size_t file) const {
    boost::replace_all(text, Link(file), files[file].name);
    boost::replace_all(text, Sam(file), SamNameOf(files[file].name));
    return text;
}

Outcome Round::Judge(std::uint64_t allowed_failed_reads) const {
    Outcome outcome;
    outcome.files.resize(files.size());
    JudgeFiles(allowed_failed_reads, outcome);
    const bool lost =
        !outcome.findings.empty() || std::any_of(outcome.files.begin(), outcome.files.end(),
                                                 [](auto& one) { return one.kind == FileOutcome::Kind::lost; });
    if (lost) {
        const auto messages = ReadFile(MessagesPath());
        const auto says = [&](int error) {
            const auto reason = std::generic_category().message(error);
            const auto names = [&](const std::string& text) { return text.find(reason) != std::string::npos; };
            return names(messages) || std::any_of(outcome.findings.begin(), outcome.findings.end(), names);
        };
        outcome.disk_full = says(ENOSPC) || says(EDQUOT) || !HasRoom(folder, 0);
    }
    return outcome;
}

void Round::JudgeFiles(std::uint64_t allowed_failed_reads, Outcome& outcome) const {
    const auto run = Checks::ReadRunLog(folder);
    outcome.findings = OtherFindings(run);
    std::map<std::string, std::size_t> positions;
    for (std::size_t i = 0; i < files.size(); ++i) {
        positions.emplace(Link(i), i);
    }
    Checks::FileComparison comparison(folder + "/" + Common::kSummaryFileName, run.done);
    for (const auto& logged : run.files) {
        const auto found = positions.find(logged.file);
        if (found == positions.end()) {
            outcome.findings.push_back(logged.file + ": in the log, but not in the list");
            continue;
        }
        const auto i = found->second;
        auto& file = outcome.files[i];
        const auto before = comparison.Findings().size();
        comparison.Compare(logged, {Link(i), Sam(i), true});
        for (const auto& problem : logged.problems) {
            file.findings.push_back(ReasonIn(problem, logged.file));
        }
        for (auto finding = before; finding < comparison.Findings().size(); ++finding) {
            file.findings.push_back(WithoutStart(comparison.Findings()[finding], logged.file + ": "));
        }
        if (logged.failed_reads > allowed_failed_reads) {
            file.findings.push_back(Checks::Plural(logged.failed_reads, "read") + " failed");
        }
        file.kind = file.findings.empty() && logged.reads ? FileOutcome::Kind::kept : FileOutcome::Kind::lost;
        file.reads =
            file.kind == FileOutcome::Kind::kept ? static_cast<std::uint64_t>(*logged.reads) : CountReads(Sam(i));
    }
    if (!run.done && !run.files.empty() && !run.files.back().reads) {
        const auto last = positions.find(run.files.back().file);
        outcome.interrupted = last == positions.end() ? std::nullopt : std::optional(last->second);
    }
    const auto known = comparison.Findings().size();
    const auto all = comparison.Finish(std::nullopt);
    outcome.findings.insert(outcome.findings.end(), all.begin() + static_cast<std::ptrdiff_t>(known), all.end());
    const auto rows = std::accumulate(outcome.files.begin(), outcome.files.end(), std::uint64_t{0},
                                      [](auto sum, const auto& file) { return sum + file.reads; });
    if (outcome.findings.empty() && CountRows() != rows) {
        outcome.findings.push_back("the aligner's summary does not have a row for each read");
    }
}

std::uint64_t Round::CountRows() const {
    Common::LineReader lines(folder + "/" + Common::kSummaryFileName, kBlock, kLongestLine);
    std::uint64_t rows = 0;
    std::string_view line;
    lines.Next(line);  // The header.
    while (lines.Next(line)) {
        ++rows;
    }
    return rows;
}

// Writes the rows of the kept files after a header line, which readers of summaries need. Returns the number of bytes
// of these rows, without the header.
std::uint64_t Round::WriteRows(const Outcome& outcome) const {
    Common::LineReader lines(folder + "/" + Common::kSummaryFileName, kBlock, kLongestLine);
    const auto path = folder + "/rows";
    errno = 0;
    std::ofstream rows(path, std::ios_base::binary | std::ios_base::trunc);
    std::string_view line;
    if (lines.Next(line)) {
        rows << line << '\n';
    }
    std::uint64_t bytes = 0;
    for (const auto& file : outcome.files) {
        for (std::uint64_t i = 0; i < file.reads; ++i) {
            if (!lines.Next(line)) {
                throw std::logic_error(path + ": rows are missing");
            }
            if (file.kind == FileOutcome::Kind::kept) {
                rows << line << '\n';
                bytes += line.size() + 1;
            }
        }
    }
    rows.close();
    if (!rows) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return bytes;
}

void Round::WritePublication(const Outcome& outcome, const std::string& save_folder, RunState& state) const {
    std::error_code unknown;
    const auto log_path = Common::NewestRunLog(folder, unknown);
    const auto log = ReadFile(log_path);
    std::vector<NameInLog> names;
    std::vector<FileRecord> records;
    std::string moves;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const bool kept = outcome.files[i].kind == FileOutcome::Kind::kept;
        names.push_back({Link(i), state.shown_input + "/" + files[i].name, kept});
        if (kept) {
            moves += fs::path(Sam(i)).filename().string() + '\t' + SamNameOf(files[i].name) + '\n';
            records.push_back({files[i].name, files[i].stamp, outcome.files[i].reads, files[i].loss});
        }
    }
    state.Add(records);
    std::string joined;
    if (state.log_name.empty()) {
        state.log_name = fs::path(log_path).filename().string();
        joined = RecordsOfStart(log, state.shown_input, save_folder);
    }
    joined += RecordsOfFiles(log, names);
    state.log_bytes += joined.size();
    state.summary_bytes += WriteRows(outcome);
    state.milliseconds += outcome.milliseconds;
    Write(folder + "/log", joined);
    Write(folder + "/moves", moves);
    Write(folder + "/state", state.Text());
    // OutputFolder::Prepare synchronises all files in the folder with the disk. To save time, remove those that are no
    // longer needed.
    fs::remove(log_path);
    fs::remove(folder + "/" + Common::kSummaryFileName);
    fs::remove(ListPath());
    fs::remove(MessagesPath());
}

}  // namespace Live
