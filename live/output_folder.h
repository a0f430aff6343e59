#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/file_descriptor.h"
#include "live/run_state.h"
#include "live/summary_copies.h"

namespace Live {

/// The folder with the results of all rounds so far. Its sub-folder ".live" holds what readers must not see:
///
///   lock    locked during a run, also by the aligner that the run has started
///   state   the rounds so far; replacing it ends the publication of a round
///   round   the round that is being aligned and checked; removed when a run begins
///   whole   copies of the whole reads of files that are not whole; removed when a run begins
///   ready   a checked round. Once it has this name, its publication is completed, if necessary by a later run
///
/// Repeating a step of a publication gives the same result, so a killed run leaves a complete state, or one that
/// Publish completes.
class OutputFolder {
public:
    /// Creates the folder if it is missing and locks it. Throws std::runtime_error if another run has it.
    explicit OutputFolder(const std::string& path);

    /// Reads the state of earlier calls and removes what is left of an interrupted round; a new folder takes `now`.
    /// Throws std::runtime_error if it holds other results, or if the options that determine the output differ.
    RunState Open(const RunState& now);

    const std::string& Path() const { return path; }
    std::string HiddenPath() const { return path + "/" + kHiddenFolder; }
    std::string RoundPath() const { return HiddenPath() + "/round"; }

    /// Why the SAM file cannot get this name; empty if it can. Creates its folder.
    std::string Obstacle(const std::string& sam) const;

    /// Moves the round in RoundPath, with its written publication, to ReadyPath: it is on the disk now, and will become
    /// part of the results. After a std::system_error, such as a full disk, the round must be made again: what the disk
    /// has refused once may be lost although a second attempt succeeds.
    void Prepare();
    std::string ReadyPath() const { return HiddenPath() + "/ready"; }

    /// Makes the prepared round part of the results, if there is one. After a std::system_error, such as a full disk,
    /// the call can be repeated.
    void Publish();

    /// See SummaryCopies.
    bool SeesReaders() const { return summary->SeesReaders(); }

    /// Replaces the state without a round.
    void Save(const RunState& state);

    /// Call at the end of a run: removes what only further rounds need.
    void Close() const { summary->DropHidden(); }

    /// Ends the log with these records, which the next round replaces.
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
