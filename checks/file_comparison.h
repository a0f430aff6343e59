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
/// differences, but not with the number of reads or files. Not synchronised.
class FileComparison {
public:
    /// `summary`: the path of the summary. `done`: whether the run finished; if not, rows may lack their SAM records.
    FileComparison(const std::string& summary, bool done);

    struct Paths {
        std::optional<std::string> input;  ///< Unset for a file that the log names but the input lacks.
        std::string sam;
        bool sam_is_its_own = true;  ///< False if a later input file replaced the SAM file.
    };

    /// Compares one input file. Call for each file of the log, in the order of the log.
    void Compare(const LoggedFile& logged, const Paths& paths);

    /// Adds a finding about an input file that is not in the log.
    void AddUnfinished(const std::string& input) { Add(input, "not finished"); }

    /// The findings so far about input files. Finish adds the others.
    const std::vector<std::string>& Findings() const { return findings; }

    /// Call last. Returns all findings. `logged_rows`: the number of rows according to the log, if known.
    std::vector<std::string> Finish(std::optional<std::uint64_t> logged_rows);

private:
    class OneFile;
    struct HeaderUse {
        std::uint64_t files = 0;
        std::vector<std::pair<std::string, std::string>> first;  // Input file and SAM file of the first few uses.
    };

    void Add(const std::string& path, const std::string& finding) { findings.push_back(path + ": " + finding); }
    void NoteHeader(const std::string& input, const std::string& sam);
    void AddDifferingHeaders();

    SummaryComparison summary;
    SamHeaders headers;
    LibraryWarnings warnings;
    std::vector<std::string> findings;
    std::set<std::string> reported;                // Names of reads already reported; see SummaryComparison::Finish.
    std::map<std::string, HeaderUse> header_uses;  // By digest of the header.
};

}  // namespace Checks
