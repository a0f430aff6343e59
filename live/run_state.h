#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "live/options.h"
#include "live/read_files.h"

namespace Live {

/// A read file whose reads are in the output, or that was given up on.
struct FileRecord {
    std::string name;  ///< Relative to the watched folder.
    Stamp stamp;
    std::optional<std::uint64_t> reads;  ///< Number of rows in the output; unset if the file was given up on.
    std::string reason;                  ///< Why reads are missing from the output; empty if none are.
};

/// The state of a run, stored in its output folder.
struct RunState {
    // The members that determine the output. They must not change while tavik_live runs, or once the output has reads.
    std::string input;      ///< Absolute path of the watched folder.
    std::string reference;  ///< Absolute path of the reference.
    Stamp reference_stamp;
    std::string min_coverage;
    std::string allowed_failed_reads;

    std::string shown_input;      ///< The watched folder as the first call of the program named it.
    std::string log_name;         ///< Empty before the first round.
    std::uint64_t log_bytes = 0;  ///< Without the records that the end of a run adds.
    std::uint64_t summary_bytes = 0;
    std::uint64_t milliseconds = 0;  ///< The time that the aligner took in all published rounds.
    std::vector<FileRecord> files;   ///< In the order of the summary's rows.

    /// The state of a run with these options before its first round. Throws std::system_error if the folder or the
    /// reference cannot be found, or if the folder is a file.
    static RunState For(const Options& options);

    /// Adds a file that was given up on, unless its name contains a tab or a line feed.
    void GiveUp(const FileRecord& file);
    /// Adds files whose reads are in the output. Replaces their records if they were given up on before.
    void Add(const std::vector<FileRecord>& aligned);

    /// True if the reads of at least one file are in the output.
    bool HasReads() const;

    /// The state as text, for Parse. Throws std::runtime_error if a path contains a line feed.
    std::string Text() const;
    /// The state with this text. Throws std::runtime_error if the text is malformed.
    static RunState Parse(const std::string& text);

    /// Describes the differences in the reference and in the options that determine the output, one line each.
    std::vector<std::string> DifferencesFrom(const RunState& earlier) const;

    /// The table of the aligned files, for OUT/files.tsv.
    std::string FilesTable() const;
};

/// The path of a read file's SAM file, relative to the output folder. `name`: the path of the read file, relative to
/// the watched folder.
std::string SamNameOf(const std::string& name);

}  // namespace Live
