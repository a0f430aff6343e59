#pragma once

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "live/notices.h"
#include "live/read_files.h"
#include "live/run_state.h"
#include "live/sam_names.h"

namespace Live {

using Time = std::chrono::steady_clock::time_point;

/// A read file of the watched folder.
struct Watched {
    enum class Phase {
        settling,  ///< Changed less than the settle time ago.
        waiting,   ///< Unchanged for that time, to be aligned.
        cut,       ///< Unchanged for that time, but not whole.
        aligning,  ///< In the current round.
        done,      ///< Its reads are in the output.
        given_up,  ///< It is not aligned; settling again if it changes.
        renamed,   ///< Another name of a file that is done, or its compressed or uncompressed form.
    };
    Phase phase = Phase::settling;
    Stamp stamp;
    Time since;                 ///< Unchanged since this time.
    std::string reason;         ///< What is lost of it; empty if nothing.
    std::string output_name;    ///< The name under which the output has its reads; empty if it has none.
    std::uint64_t reads = 0;    ///< Its rows in the output.
    int losses = 0;             ///< Rounds that lost it.
    bool restored = false;      ///< Given up by an earlier call, and not seen since.
    bool missing = false;       ///< It was not there at the last look.
    bool replaced = false;      ///< At the last look, another file had its name.
    bool told_missing = false;  ///< The user knows that it disappeared.
    bool changed = false;       ///< It has another stamp than when it was aligned.
};

/// Knows what has become of each read file. A look takes time in proportion to the number of files. Not synchronised.
class WatchedFiles {
public:
    /// `settle`: time without a change after which a file can be aligned.
    explicit WatchedFiles(std::chrono::duration<double> settle);

    /// Takes over what an earlier call aligned. What it gave up is tried again if it is still there.
    void Restore(const std::vector<FileRecord>& records, Time now);

    /// Takes the result of a look at the folder. `file_time`: the current time as a Stamp gives it. Returns what the
    /// user should know.
    std::vector<std::string> Update(const std::vector<FoundFile>& found, Time now, std::int64_t file_time);

    /// Files to align, in the order in which they were completed.
    std::vector<std::string> Waiting() const;
    bool IsWaiting(const std::string& name) const;

    /// True if a file that was cut has grown. Whoever writes pauses for longer than the settle time, so a file should
    /// be read to its end before it is aligned.
    bool WriterPauses() const { return writer_pauses; }

    /// The aligned file that is gone and of which this one may be the compressed or uncompressed form: its name, or the
    /// one that it got later, is the same but for ".gz". Empty if there is none.
    std::string FormerFormOf(const std::string& name) const;

    /// The file is another form of `former`.
    void SetOtherForm(const std::string& name, const std::string& former, Notices& notices);

    void SetAligning(const std::string& name) { files.at(name).phase = Watched::Phase::aligning; }
    /// After a round; the file may be unknown by now. `reads`: its rows; `loss`: what they lack, empty if nothing.
    void SetDone(const std::string& name, std::uint64_t reads, const std::string& loss);
    /// If the round decided nothing about the file.
    void SetWaiting(const std::string& name);
    /// True if the file was cut; it waits now.
    bool SetWhole(const std::string& name);
    /// The file is not whole.
    void SetCut(const std::string& name, const std::string& reason);
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

    void Look(const FoundFile& found, Time now, Notices& notices);
    void LookAtKnown(Named known, const FoundFile& found, Time now, Notices& notices);
    bool IsRenamed(const FoundFile& found, Time now, Notices& notices);
    void NoteMissing(Notices& notices);
    void Settle(Named file, Notices& notices);
    Named FormerNameOf(const Stamp& stamp);
    bool HasNewName(const Watched& file) const;
    const Watched* OtherFormOf(const std::string& name, std::string& other) const;
    bool IsReplaced(const std::string& name, const Watched& file) const;
    void SetRenamed(const std::string& name, const std::string& former);
    void NoteRenamed(const std::string& name, const std::string& former, Notices& notices);
    void Begin(const std::string& name, const Stamp& stamp, Time now);
    Time ChangeOf(const Stamp& stamp, Time now) const;
    void Set(const std::string& name, const Watched& file);
    void Erase(const std::string& name);
    void Forget(const std::string& name);

    const std::chrono::steady_clock::duration settle;
    std::map<std::string, Watched> files;                                     // By name.
    std::unordered_map<std::uint64_t, std::set<std::string>> names_of_inode;  // Of these files.
    SamNames sam_names;
    Time last_change = Time::min();
    Time last_look = Time::max();  // The one before the current one.
    std::int64_t file_time = 0;    // At the current look.
    bool writer_pauses = false;
};

}  // namespace Live
