#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "live/content.h"
#include "live/read_files.h"
#include "live/run_state.h"

namespace Live {

using Time = std::chrono::steady_clock::time_point;

/// A read file of the watched folder.
struct Watched {
    enum class Phase {
        settling,  ///< Changed less than the settle time ago.
        cut,       ///< Unchanged for that time, but not whole.
        waiting,   ///< Whole, to be aligned.
        aligning,  ///< In the current round.
        done,      ///< Its reads are in the output.
        given_up,  ///< It is not aligned; again settling if it changes.
        renamed,   ///< Another name of a file that is done.
    };
    Phase phase = Phase::settling;
    Stamp stamp;
    Time since;                 ///< First seen with this stamp.
    std::string reason;         ///< What is lost of it; empty if nothing.
    int losses = 0;             ///< Rounds that lost it.
    bool restored = false;      ///< Given up by an earlier call, and not seen since.
    bool missing = false;       ///< It was not there at the last look.
    bool told_missing = false;  ///< The user knows that it disappeared.
    bool changed = false;       ///< It has another stamp than when it was aligned.
};

/// Knows what has become of each read file. Not synchronised.
class WatchedFiles {
public:
    using Reader = std::function<Content(const std::string& name)>;

    /// `settle`: time without a change after which `reader` looks whether a file is whole.
    WatchedFiles(std::chrono::duration<double> settle, Reader reader);

    /// Takes over what an earlier call aligned. What it gave up is tried again if it is still there.
    void Restore(const std::vector<FileRecord>& records, Time now);

    /// Takes the result of a look at the folder. Returns what the user should know.
    std::vector<std::string> Update(const std::vector<FoundFile>& found, Time now);

    /// Reads the files that are not whole once more: they may have become readable without a change. True if one of
    /// them is whole now.
    bool ReadCutAgain();

    /// Files to align, in the order in which they were completed.
    std::vector<std::string> Waiting() const;

    void SetAligning(const std::string& name) { files.at(name).phase = Watched::Phase::aligning; }
    /// After a round. `reason`: what is lost of the file although it is in the output; empty if nothing.
    void SetDone(const std::string& name, const std::string& reason);
    /// The round did not get to the file.
    void SetWaiting(const std::string& name);
    /// The file is tried once more, then given up.
    void SetLost(const std::string& name, const std::string& reason);
    void GiveUp(const std::string& name, const std::string& reason);

    const Watched& At(const std::string& name) const { return files.at(name); }
    const std::map<std::string, Watched>& All() const { return files; }

    /// When the next file will have been unchanged for the settle time; the latest time if none is settling.
    Time NextSettled() const;
    /// When a file was last seen to be new or changed.
    Time LastChange() const { return last_change; }
    /// True if no file is settling or waiting.
    bool IsQuiet() const;

private:
    using Named = std::map<std::string, Watched>::iterator;

    void Look(const FoundFile& found, Time now, std::vector<std::string>& notices);
    void LookAtKnown(Named known, const FoundFile& found, Time now, std::vector<std::string>& notices);
    bool IsRenamed(const FoundFile& found, Time now, std::vector<std::string>& notices);
    void NoteMissing(std::vector<std::string>& notices);
    void Settle(Named file, std::vector<std::string>& notices);
    Named FormerNameOf(const Stamp& stamp);
    bool HasNewName(const Watched& file) const;
    void NoteRenamed(const std::string& name, const std::string& former, std::vector<std::string>& notices);
    void Begin(const std::string& name, const Stamp& stamp, Time now);

    const std::chrono::steady_clock::duration settle;
    const Reader reader;
    std::map<std::string, Watched> files;           // By name.
    std::map<std::string, std::string> sam_owners;  // The first file for each SAM name.
    Time last_change = Time::min();
};

}  // namespace Live
