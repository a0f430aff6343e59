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
        cut,       ///< Unchanged for that time, but incomplete.
        aligning,  ///< In the current round.
        done,      ///< Its reads are in the output.
        given_up,  ///< Not aligned. It is tried again if it changes or reappears, or if the program is called again.
        renamed,   ///< Another name of a file that is done, or its compressed or uncompressed form.
    };
    Phase phase = Phase::settling;
    Stamp stamp;
    Stamp latest;             ///< If the file has changed since it was aligned, its stamp in the latest look.
    Time since;               ///< The file has not changed since this time.
    std::string reason;       ///< Why the output lacks reads of the file, if known; empty if it lacks none.
    std::string output_name;  ///< The name under which the output has the reads; empty if it has none.
    std::uint64_t reads = 0;  ///< The number of the file's rows in the output; 0 unless the phase is `done`.
    int losses = 0;           ///< The number of rounds that lost reads of the file.
    bool restored = false;    ///< Given up on by an earlier call of the program, and not found by any look since.
    bool missing = false;     ///< Whether the latest look did not find the file.
    bool replaced = false;    ///< Whether the latest look found another file under this name.
    /// Whether it has been noted that the file disappeared, or exists under a new name or in another form. The user has
    /// been told of this, unless the file had already been given up on.
    bool told_missing = false;
    bool changed = false;  ///< Whether the file has changed since it was aligned.
};

/// Tracks the state of each read file. Not synchronised.
class WatchedFiles {
public:
    /// `settle`: time without a change after which a file can be aligned.
    explicit WatchedFiles(std::chrono::duration<double> settle);

    /// Takes over the files of earlier calls of the program. Files that were given up on are tried again if they still
    /// exist.
    void Restore(const std::vector<FileRecord>& records, Time now);

    /// Takes the result of a look at the folder. `file_time`: the current time, in the unit of Stamp::time. Returns
    /// messages for the user.
    std::vector<std::string> Update(const std::vector<FoundFile>& found, Time now, std::int64_t file_time);

    /// Files to align, in the order in which they were completed.
    std::vector<std::string> Waiting() const;
    bool IsWaiting(const std::string& name) const;

    /// True once a cut file has changed. That change shows that the program that writes the files pauses for longer
    /// than the settle time, so each file should be read to its end before it is aligned.
    bool WriterPauses() const { return writer_pauses; }

    /// If `name` may be the compressed or uncompressed form of an aligned file that has disappeared, returns the name
    /// of that file in the output; otherwise, an empty string. The names of the two forms differ only in ".gz".
    std::string FormerFormOf(const std::string& name) const;

    /// Notes that the file is the compressed or uncompressed form of `former`.
    void SetOtherForm(const std::string& name, const std::string& former, Notices& notices);

    void SetAligning(const std::string& name) { files.at(name).phase = Watched::Phase::aligning; }

    /// Notes that the output has the reads of the file. The next look finds out whether the file has changed or
    /// disappeared in the meantime.
    void SetDone(const FileRecord& record);

    // SetWaiting, SetWhole, SetCut and SetLost have no effect if the file is no longer known.

    /// Lets the file wait for another round, if its phase is still `aligning`.
    void SetWaiting(const std::string& name);
    /// Lets a cut file wait for a round. Returns false if the file is not cut, or is missing.
    bool SetWhole(const std::string& name);
    /// Notes that the file is incomplete.
    void SetCut(const std::string& name, const std::string& reason);
    /// Lets the file wait for another round after its first loss, and gives up on it after its second. Forgets a
    /// missing file that exists under another name or in another form.
    void SetLost(const std::string& name, const std::string& reason);
    /// The file must be known.
    void GiveUp(const std::string& name, const std::string& reason);

    const Watched& At(const std::string& name) const { return files.at(name); }
    const std::map<std::string, Watched>& All() const { return files; }

    /// When the next file will have been unchanged for the settle time; Time::max() if no file is settling.
    Time NextSettled() const;
    /// The time of Restore or, if later, of the latest look that found a new or changed file.
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
    std::map<std::string, Watched> files;
    std::unordered_map<std::uint64_t, std::set<std::string>> names_of_inode;  // Of all `files`.
    SamNames sam_names;
    Time last_change = Time::min();
    Time last_look = Time::max();  // The time of the look before the current one.
    std::int64_t file_time = 0;    // The time of the current look, in the unit of Stamp::time.
    bool writer_pauses = false;
};

}  // namespace Live
