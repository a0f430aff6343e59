#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "checks/input_reads.h"
#include "checks/library_warnings.h"
#include "checks/run_log.h"
#include "checks/sam_file.h"
#include "checks/summary_comparison.h"

namespace Checks {

/// Compares the input files, their log records, their SAM files and the summary. Memory grows with the number of
/// findings, but not with that of reads or files. Not synchronised.
class FileComparison {
public:
    /// `done`: the run finished, so the rows of the summary are from this run.
    FileComparison(const std::string& summary, bool done);

    struct Paths {
        std::optional<std::string> input;  ///< Unset for a file that only the log names: it gets no findings.
        std::string sam;
        bool sam_is_its_own = true;  ///< False if another input file replaced it later.
    };

    /// Call for each file of the log, in its order.
    void Compare(const LoggedFile& logged, const Paths& paths);

    /// Adds a file of the input that is not in the log.
    void AddUnfinished(const std::string& input) { Add(input, "not finished"); }

    /// The findings so far.
    const std::vector<std::string>& Findings() const { return findings; }

    /// Call last. Returns all findings.
    std::vector<std::string> Finish(std::optional<std::uint64_t> logged_rows);

private:
    class OneFile;
    struct HeaderUse {
        std::uint64_t files = 0;
        std::vector<std::pair<std::string, std::string>> first;  // Input and SAM file of each, for the first few.
    };

    void Add(const std::string& path, const std::string& finding) { findings.push_back(path + ": " + finding); }
    void NoteHeader(const std::string& input, const std::string& sam);
    void AddDifferingHeaders();

    SummaryComparison summary;
    SamHeaders headers;
    LibraryWarnings warnings;
    std::vector<std::string> findings;
    std::set<std::string> told;                    // Names of reads already reported, see SummaryComparison.
    std::map<std::string, HeaderUse> header_uses;  // The key is the digest of the header.
};

}  // namespace Checks
