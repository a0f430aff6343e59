#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "live/options.h"
#include "live/read_files.h"

namespace Live {

/// A file whose reads are in the output, or that was given up.
struct FileRecord {
    std::string name;  ///< Relative to the watched folder.
    Stamp stamp;
    std::optional<std::uint64_t> reads;  ///< Number of rows; unset if none of the file is in the output.
    std::string reason;                  ///< What was lost of it; empty if nothing.
};

/// What a run remembers in its output folder.
struct RunState {
    // What determines the output. A later call must have the same.
    std::string input;      ///< Absolute path of the watched folder.
    std::string reference;  ///< Absolute path.
    Stamp reference_stamp;
    std::string min_coverage;
    std::string allowed_failed_reads;

    std::string shown_input;      ///< The watched folder as the first call named it.
    std::string log_name;         ///< Empty before the first round.
    std::uint64_t log_bytes = 0;  ///< Without what the end of the run adds.
    std::uint64_t summary_bytes = 0;
    std::uint64_t milliseconds = 0;  ///< The time that the aligner took.
    std::vector<FileRecord> files;   ///< In the order of the summary's rows.

    /// The state of a run with these options before its first round. Throws std::system_error if the folder or the
    /// reference cannot be found.
    static RunState For(const Options& options);

    /// Remembers a file that was given up.
    void GiveUp(const FileRecord& file);
    /// Remembers files whose reads are in the output now, whether or not they were given up before.
    void Add(const std::vector<FileRecord>& aligned);

    /// True if the reads of a file are in the output.
    bool HasReads() const;

    std::string Text() const;
    /// Throws std::runtime_error for a text that Text does not write.
    static RunState Parse(const std::string& text);

    /// The options that differ, one line for each.
    std::vector<std::string> DifferencesFrom(const RunState& earlier) const;

    /// The table of the aligned files, for OUT/files.tsv.
    std::string FilesTable() const;
};

/// The path of the SAM file of `name`, both relative.
std::string SamNameOf(const std::string& name);

}  // namespace Live
