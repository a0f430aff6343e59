#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "live/gzip_text.h"
#include "live/read_files.h"
#include "live/run_state.h"

namespace Live {

struct RoundFile {
    std::string name;  ///< Relative to the watched folder.
    std::string path;  ///< Where the reads are: the file itself, or a copy of its complete reads.
    Stamp stamp;       ///< Of the file itself.
    std::string loss;  ///< If `path` is a copy, why the copy may lack reads of the file; otherwise empty.

    /// The decompressed text of a gzip file, which the aligner reads instead; null if there is none.
    std::shared_ptr<const GzipText> text{};
};

/// Decompresses up to 32 gzip files of a round into at most 256 MiB of memory, so that the aligner and the check need
/// not each decompress them. Files that do not fit, and files with faults, get no text.
void DecompressOnce(std::vector<RoundFile>& files);

/// The result of a round for one file.
struct FileOutcome {
    enum class Kind { kept, lost, changed, not_begun };
    Kind kind = Kind::not_begun;
    std::uint64_t reads = 0;            ///< The number of the file's rows in the round's summary.
    std::vector<std::string> findings;  ///< Why the file was lost or, after BlameFiles, not begun.
};

/// The result of a round.
struct Outcome {
    std::vector<FileOutcome> files;          ///< In the order of the round.
    std::vector<std::string> findings;       ///< Faults of the whole round. If there is one, no row can be used.
    std::optional<std::size_t> interrupted;  ///< Index of the file being read when the aligner ended too early.
    int status = 0;                          ///< See AlignerProcess::Ended.
    bool disk_full = false;                  ///< The losses are due to a full disk.
    std::uint64_t milliseconds = 0;          ///< The time that the aligner took.

    /// Blames the files for the findings about the whole round, if there are any. The file `interrupted` counts as
    /// lost. If `interrupted` is unset, each file that was begun counts as lost. All other files count as not begun.
    void BlameFiles();

    /// The end of the aligner in words: "the aligner ended with status 1".
    std::string HowEnded() const;
};

/// One run of the aligner, in a folder of its own. The aligner reads links with unique names instead of the files,
/// because it names a SAM file after the listed file, without the folder. Files with equal names in two folders would
/// therefore share one SAM file.
class Round {
public:
    /// Empties or creates the folder and makes the links and their list in it. Throws std::system_error if that fails.
    Round(std::string folder, std::vector<RoundFile> files);

    const std::vector<RoundFile>& Files() const { return files; }
    std::string ListPath() const { return folder + "/files.txt"; }
    std::string MessagesPath() const { return folder + "/messages.txt"; }

    /// Call after the aligner has ended. Checks its run by the rules of tavik_check. Up to `allowed_failed_reads` reads
    /// of each file may have failed.
    Outcome Judge(std::uint64_t allowed_failed_reads) const;

    /// Updates `state` with the kept files, the lengths of summary and log, and the aligner's time. Then writes the
    /// files from which OutputFolder publishes the kept files:
    /// - "rows": a header line and the new rows of the summary;
    /// - "log": the new records of the log;
    /// - "moves": the names of each SAM file in the round and in the output folder;
    /// - "state": the text of `state`.
    ///
    /// Removes the aligner's summary and log, so Judge cannot be called again.
    void WritePublication(const Outcome& outcome, const std::string& save_folder, RunState& state) const;

    /// Returns the finding `text` with the paths of the file's link and SAM file replaced by the names that the user
    /// knows. `file`: the file's index in Files().
    std::string WithNames(std::string text, std::size_t file) const;

private:
    std::string Link(std::size_t file) const;
    std::string Sam(std::size_t file) const;
    void JudgeFiles(std::uint64_t allowed_failed_reads, Outcome& outcome) const;
    std::uint64_t CountRows() const;
    std::uint64_t WriteRows(const Outcome& outcome) const;

    const std::string folder;
    const std::vector<RoundFile> files;
};

}  // namespace Live
