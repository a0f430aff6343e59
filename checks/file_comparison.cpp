#include "checks/file_comparison.h"

#include <algorithm>
#include <functional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "checks/sequence_digest.h"
#include "checks/texts.h"

namespace Checks {

namespace {

using Difference = ReadBalance::Difference;

// The input is read ahead of the SAM file by kAhead reads, because the aligner writes reads in the order in which their
// alignments finish. Failed reads do not count. If the SAM file contains a read that is not among those read ahead,
// kMostAhead replaces kAhead. Reading that far ahead is slower, but kMostAhead exceeds the number of threads that a
// process can usually have.
constexpr std::uint64_t kAhead = 1024;
constexpr std::uint64_t kMostAhead = 32768;
constexpr std::size_t kFirstUses = 3;

}  // namespace

// Compares one input file with its SAM file.
class FileComparison::OneFile {
public:
    OneFile(FileComparison& all, const LoggedFile& logged, const Paths& paths)
        : all(all),
          logged(logged),
          paths(paths),
          has_input(paths.input.has_value()),
          finished(logged.reads.has_value()) {}

    void Compare() {
        if (has_input && !finished) {
            all.Add(*paths.input, "begun, but not finished");
        }
        for (const auto& name : logged.failed_names) {
            const auto cut_name = name.substr(0, name.find_first_of("\t\n\v\f\r"));
            reads.Excuse(cut_name);
            failed.insert(cut_name);
        }
        ReadInput(0);
        ReadSam();
        ReadInput(UINT64_MAX);
        ReportWarnings();
        ReportCounts();
        if (has_input && sam_whole) {
            ReportDifferences();
        }
    }

private:
    // Continues to read the input until `sam_reads_due` is at least `count` or the input ends.
    void ReadInput(std::uint64_t count) {
        if (!has_input || input_ended) {
            return;
        }
        try {
            if (!input) {
                input = std::make_unique<InputReads>(*paths.input);
            }
            while (sam_reads_due < count) {
                if (!input->Next()) {
                    input_ended = true;
                    input_whole = true;
                    break;
                }
                if (input->HasName()) {
                    TakeInput(input->Name());
                }
            }
        } catch (const InputError& error) {
            input_ended = true;
            if (std::none_of(logged.problems.begin(), logged.problems.end(),
                             [&](const auto& problem) { return problem.find(error.logged) != std::string::npos; })) {
                all.Add(*paths.input, error.what());
            }
        }
        if (input_whole && input->EndsInsideRecord()) {
            all.Add(*paths.input, "the last record is cut short");
        }
    }

    void TakeInput(std::string_view name) {
        reads.Expect(name, DigestOf(input->Sequence()), input->Count());
        if (const auto one = failed.find(name); one != failed.end()) {
            failed.erase(one);
        } else {
            ++sam_reads_due;
        }
    }

    void ReadSam() {
        if (paths.sam_is_its_own) {
            try {
                SamFile sam(paths.sam, all.headers);
                for (SamRead read; sam.Next(read); ++sam_reads) {
                    ReadInput(sam_reads + ahead);
                    Take(read);
                }
                sam_whole = true;
                all.NoteHeader(paths.input.value_or(logged.file), paths.sam);
                return;
            } catch (const std::runtime_error& error) {
                if (has_input && finished) {
                    all.Add(*paths.input, "its SAM file " + paths.sam + ": " + error.what());
                }
            }
        }
        if (finished) {
            const auto rows = static_cast<std::uint64_t>(std::max<std::int64_t>(*logged.reads, 0));
            all.summary.SkipRows(rows - std::min(rows, sam_reads));
        } else {
            all.summary.SkipUnknownRows();
        }
    }

    void Take(const SamRead& read) {
        if (!read.digest.empty()) {
            if (!reads.Find(read.name, read.digest, read.line)) {
                ahead = kMostAhead;
            }
            all.summary.Expect(read.name, read.cells, "");
            return;
        }
        if (!reads.Knows(read.name)) {
            ahead = kMostAhead;
            ReadInput(sam_reads + ahead);
        }
        // The record has no sequence, so the read was rejected or has no bases.
        static const auto kNoBases = DigestOf("");
        const bool without_bases = reads.Expects(read.name, kNoBases);
        const bool with_bases = reads.ExpectsOther(read.name, kNoBases);
        if (without_bases && !with_bases) {
            reads.Find(read.name, kNoBases, read.line);
            all.summary.Expect(read.name, kUnmappedCells, "");
        } else {
            reads.FindAnyContent(read.name, read.line);
            all.summary.Expect(read.name, kRejectedCells, with_bases && !without_bases ? "" : kUnmappedCells);
        }
    }

    void ReportWarnings() {
        for (const auto& warning : all.warnings.Take()) {
            if (std::find(logged.problems.begin(), logged.problems.end(), warning) == logged.problems.end()) {
                all.Add(*paths.input, warning);
            }
        }
    }

    void ReportCounts() {
        if (!has_input || !finished) {
            return;
        }
        const auto written = "; the log counts " + std::to_string(*logged.reads) + " as written";
        if (input_whole) {
            if (*logged.reads + static_cast<std::int64_t>(logged.failed_reads) !=
                static_cast<std::int64_t>(input->Count())) {
                const auto failed =
                    logged.failed_reads > 0 ? " and " + std::to_string(logged.failed_reads) + " as failed" : "";
                all.Add(*paths.input, Plural(input->Count(), "read") + " in the input file" + written + failed);
            }
        } else if (sam_whole && *logged.reads != static_cast<std::int64_t>(sam_reads)) {
            all.Add(*paths.input, Plural(sam_reads, "read") + " in its SAM file " + paths.sam + written);
        }
    }

    void ReportDifferences() {
        using Kind = Difference::Kind;
        auto differences = reads.Differences();
        std::erase_if(differences, [this](const auto& difference) {
            return (difference.kind == Kind::missing && !finished) ||
                   (difference.kind == Kind::surplus && !input_whole);
        });
        for (const auto& difference : differences) {
            all.reported.insert(difference.name);
        }
        const auto sam = "its SAM file " + paths.sam;
        const bool none_in_common = reads.Matched() == 0 && input_whole && sam_reads > 0 && input->Count() > 1;
        if (reads.Overflowed() || (!differences.empty() && none_in_common)) {
            all.Add(*paths.input, sam + " contains other reads");
            return;
        }
        const auto tell = [&](Kind kind, const std::string& before, const std::string& after, const std::string& noun,
                              const std::string& rest) {
            const auto word = [&](const auto& one) { return before + "read '" + one.name + "'" + after; };
            for (const auto& text : ReadBalance::Word(differences, kind, word, noun, rest)) {
                all.Add(*paths.input, text);
            }
        };
        tell(Kind::missing, "", " is not in " + sam, "more read", "not in " + sam);
        tell(Kind::surplus, sam + " contains ", ", which the input file lacks or contains fewer times",
             "more such read", "in " + sam);
        tell(Kind::altered, "", " has a different sequence in " + sam, "more read",
             "with a different sequence in " + sam);
    }

    FileComparison& all;
    const LoggedFile& logged;
    const Paths& paths;
    const bool has_input;
    const bool finished;
    std::unique_ptr<InputReads> input;
    ReadBalance reads;
    std::multiset<std::string, std::less<>> failed;  // Names of failed reads not yet found in the input.
    std::uint64_t sam_reads_due = 0;                 // Input reads so far that should be in the SAM file.
    std::uint64_t sam_reads = 0;
    std::uint64_t ahead = kAhead;
    bool input_ended = false;
    bool input_whole = false;  // The input was read to its end without an error.
    bool sam_whole = false;    // The SAM file was read to its end without an error.
};

FileComparison::FileComparison(const std::string& summary, bool done) : summary(summary) {
    if (!done) {
        this->summary.SkipUnknownRows();
    }
}

void FileComparison::Compare(const LoggedFile& logged, const Paths& paths) {
    OneFile(*this, logged, paths).Compare();
}

void FileComparison::NoteHeader(const std::string& input, const std::string& sam) {
    auto& use = header_uses[headers.Digest()];
    if (++use.files <= kFirstUses) {
        use.first.emplace_back(input, sam);
    }
}

void FileComparison::AddDifferingHeaders() {
    const auto usual = std::max_element(header_uses.begin(), header_uses.end(),
                                        [](const auto& a, const auto& b) { return a.second.files < b.second.files; });
    for (auto use = header_uses.begin(); use != header_uses.end(); ++use) {
        if (use == usual) {
            continue;
        }
        for (const auto& [input, sam] : use->second.first) {
            Add(input, "the @SQ lines of its SAM file " + sam + " differ from those of other SAM files");
        }
        if (use->second.files > kFirstUses) {
            findings.push_back("the same @SQ lines are in " + Plural(use->second.files - kFirstUses, "more SAM file"));
        }
    }
}

std::vector<std::string> FileComparison::Finish(std::optional<std::uint64_t> logged_rows) {
    AddDifferingHeaders();
    for (auto& finding : summary.Finish(reported, logged_rows)) {
        findings.push_back(std::move(finding));
    }
    return std::move(findings);
}

}  // namespace Checks
