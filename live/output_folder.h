#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/file_descriptor.h"
#include "live/run_state.h"
#include "live/summary_copies.h"

namespace Live {

/// The folder with the results of all rounds so far. Its sub-folder ".live" contains the hidden copy of SummaryCopies
/// and:
///
///   lock    locked during a run, also by the aligner that the run has started
///   state   the RunState so far; replacing it ends the publication of a round
///   round   the round that is being aligned and checked; removed when a run begins
///   whole   the complete reads of a file that cannot be aligned as a whole; removed when a run begins
///   ready   a checked round; once it has this name, it is certain to be published, if necessary by a later run
///
/// Each step of a publication can be repeated, so a killed run leaves results that are complete or that Publish
/// completes.
class OutputFolder {
public:
    /// Creates the folder if it is missing and locks it. Throws std::runtime_error if another run has locked it.
    explicit OutputFolder(const std::string& path);

    /// Removes the remains of an interrupted round and completes an interrupted publication. Returns the state that
    /// earlier calls of the program have saved. If there is none, or if it has other options and no reads are in the
    /// output yet, returns `now` with the size of the summary.
    ///
    /// Throws std::runtime_error if the results in the folder are those of another run, were made with other options,
    /// or were changed by another program.
    RunState Open(const RunState& now);

    const std::string& Path() const { return path; }
    std::string HiddenPath() const { return path + "/" + kHiddenFolder; }
    std::string RoundPath() const { return HiddenPath() + "/round"; }

    /// Why the SAM file `sam`, a path relative to the folder, cannot be published; empty if it can. Creates the folder
    /// that the SAM file will be in.
    std::string Obstacle(const std::string& sam) const;

    /// Call after Round::WritePublication. Waits until the round's files are on the disk, and then moves RoundPath to
    /// ReadyPath. After a std::system_error, such as that of a full disk, make the round again: data that the system
    /// failed to write once may be lost even if a second attempt succeeds.
    void Prepare();
    std::string ReadyPath() const { return HiddenPath() + "/ready"; }

    /// Makes the prepared round part of the results, if there is one. After a std::system_error, such as that of a full
    /// disk, the call can be repeated.
    void Publish();

    /// See SummaryCopies.
    bool SeesReaders() const { return summary->SeesReaders(); }

    /// Replaces the state, without publishing a round.
    void Save(const RunState& state);

    /// Removes files that only further rounds need. Call at the end of a run.
    void Close() const { summary->DropHidden(); }

    /// Writes `records` to the end of the log; the next round overwrites them.
    void EndLog(const RunState& state, const std::string& records) const;

private:
    void Begin(const RunState& now);
    void Check(const RunState& state) const;
    struct Move;
    std::vector<Move> Moves() const;
    void Show(const RunState& next);

    const std::string path;
    std::optional<Common::FileDescriptor> lock;
    std::optional<SummaryCopies> summary;
    RunState published;
};

}  // namespace Live
