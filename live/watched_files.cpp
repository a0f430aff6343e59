#include "live/watched_files.h"

#include <algorithm>
#include <utility>

#include "common/sequencing_file.h"

namespace Live {

using Phase = Watched::Phase;

namespace {

bool IsInTables(const std::string& name) {
    return name.find_first_of("\t\n") == std::string::npos;
}

// True for a file that waits for a round, is in one, or is in the output under its own name.
bool IsTaken(Phase phase) {
    return phase == Phase::waiting || phase == Phase::aligning || phase == Phase::done;
}

// True if the reads are in the output, possibly under another name.
bool HasRows(Phase phase) {
    return phase == Phase::done || phase == Phase::renamed;
}

}  // namespace

WatchedFiles::WatchedFiles(std::chrono::duration<double> settle_time)
    : settle(std::chrono::duration_cast<std::chrono::steady_clock::duration>(settle_time)) {}

void WatchedFiles::Restore(const std::vector<FileRecord>& records, Time now) {
    last_change = now;
    for (const auto& record : records) {
        Watched file;
        file.phase = record.reads ? Phase::done : Phase::settling;
        file.stamp = record.stamp;
        file.since = now;
        file.reason = record.reason;
        file.reads = record.reads.value_or(0);
        file.restored = !record.reads;
        Set(record.name, file);
        if (record.reads) {
            files.at(record.name).output_name = record.name;
            sam_names.Take(record.name);
        }
    }
}

void WatchedFiles::Set(const std::string& name, const Watched& file) {
    Erase(name);
    names_of_inode[file.stamp.inode].insert(name);
    files.emplace(name, file);
}

void WatchedFiles::Erase(const std::string& name) {
    const auto known = files.find(name);
    if (known == files.end()) {
        return;
    }
    const auto names = names_of_inode.find(known->second.stamp.inode);
    names->second.erase(name);
    if (names->second.empty()) {
        names_of_inode.erase(names);
    }
    files.erase(known);
}

void WatchedFiles::Forget(const std::string& name) {
    sam_names.Free(name);
    Erase(name);
}

void WatchedFiles::Begin(const std::string& name, const Stamp& stamp, Time now) {
    Watched file;
    file.stamp = stamp;
    file.since = ChangeOf(stamp, now);
    Set(name, file);
    last_change = now;
}

// The time of a change that the current look has found. The stamp's time may come from another machine's clock, so it
// is limited to the interval from the previous look to now.
Time WatchedFiles::ChangeOf(const Stamp& stamp, Time now) const {
    const auto age = std::chrono::nanoseconds(std::max<std::int64_t>(file_time - stamp.time, 0));
    return now - std::clamp<Time::duration>(age, Time::duration::zero(), std::max(now - last_look, {}));
}

std::vector<std::string> WatchedFiles::Update(const std::vector<FoundFile>& found, Time now, std::int64_t time) {
    Notices notices;
    file_time = time;
    for (auto& [name, file] : files) {
        file.missing = true;
        file.replaced = false;
    }
    // This loop finds the missing files before the next loop looks at new names, because a new name may be that of a
    // renamed file.
    for (const auto& one : found) {
        if (const auto known = files.find(one.name); known != files.end()) {
            auto& file = known->second;
            file.missing = false;
            file.restored = false;
            file.replaced = file.stamp.inode != one.stamp.inode && !file.stamp.SameContent(one.stamp);
        }
    }
    for (const auto& one : found) {
        Look(one, now, notices);
    }
    NoteMissing(notices);
    for (auto file = files.begin(); file != files.end(); ++file) {
        if (file->second.phase == Phase::settling && !file->second.missing && now - file->second.since >= settle) {
            Settle(file, notices);
        }
    }
    last_look = now;
    return notices.Texts();
}

void WatchedFiles::Look(const FoundFile& found, Time now, Notices& notices) {
    const auto known = files.find(found.name);
    if (known != files.end()) {
        LookAtKnown(known, found, now, notices);
    } else if (!IsRenamed(found, now, notices)) {
        Begin(found.name, found.stamp, now);
    }
}

void WatchedFiles::LookAtKnown(Named known, const FoundFile& found, Time now, Notices& notices) {
    auto& file = known->second;
    const bool is_back = std::exchange(file.told_missing, false);
    if (file.stamp.SameContent(found.stamp)) {
        if (is_back && file.phase == Phase::given_up) {
            Begin(found.name, found.stamp, now);
        }
        return;
    }
    if (!HasRows(file.phase)) {
        writer_pauses = writer_pauses || file.phase == Phase::cut;
        Begin(found.name, found.stamp, now);
        return;
    }
    last_change = std::exchange(file.latest, found.stamp).SameContent(found.stamp) ? last_change : now;
    if (!std::exchange(file.changed, true)) {
        file.reason = "it changed after it was aligned; the output keeps its former reads";
        notices.Add(Notices::Event::changed, found.name + ": " + file.reason);
    }
}

// Finds the former name of a renamed file by the stamp of the file under its new name. Returns files.end() if there is
// none. Another file may now have the former name.
WatchedFiles::Named WatchedFiles::FormerNameOf(const Stamp& stamp) {
    // A match in the phase `renamed`, returned only if there is no match in another phase.
    auto further = files.end();
    if (const auto names = names_of_inode.find(stamp.inode); names != names_of_inode.end()) {
        for (const auto& name : names->second) {
            const auto named = files.find(name);
            const auto& file = named->second;
            if (!(file.missing || file.replaced) || !file.stamp.SameContent(stamp)) {
                continue;
            }
            if (file.phase != Phase::renamed) {
                return named;
            }
            further = named;
        }
    }
    return further;
}

bool WatchedFiles::HasNewName(const Watched& file) const {
    const auto names = names_of_inode.find(file.stamp.inode);
    return names != names_of_inode.end() &&
           std::any_of(names->second.begin(), names->second.end(), [&](const auto& name) {
               const auto& other = files.at(name);
               return !other.missing && !other.replaced && other.stamp.SameContent(file.stamp);
           });
}

// Returns the known file that may be the compressed or uncompressed form of `name`, and stores its name in `other`.
// Returns null if there is none.
const Watched* WatchedFiles::OtherFormOf(const std::string& name, std::string& other) const {
    for (auto& candidate : OtherFormsOf(name)) {
        if (const auto named = files.find(candidate); named != files.end()) {
            other = std::move(candidate);
            return &named->second;
        }
    }
    return nullptr;
}

std::string WatchedFiles::FormerFormOf(const std::string& name) const {
    std::string other;
    const auto* const form = OtherFormOf(name, other);
    return form != nullptr && form->missing ? form->output_name : "";
}

void WatchedFiles::SetOtherForm(const std::string& name, const std::string& former, Notices& notices) {
    SetRenamed(name, former);
    notices.Add(Notices::Event::other_form,
                name + ": is " + former + ", " +
                    (Common::HasCompressedReadFileExtension(name) ? "compressed" : "decompressed") +
                    " after it was aligned; the output keeps the former name");
}

// `file` must be missing. True if it still exists under another name, or in another form that was not aligned in its
// own right.
bool WatchedFiles::IsReplaced(const std::string& name, const Watched& file) const {
    std::string other;
    const auto* const form = OtherFormOf(name, other);
    return HasNewName(file) || (form != nullptr && !form->missing && form->phase != Phase::done);
}

void WatchedFiles::SetRenamed(const std::string& name, const std::string& former) {
    files.at(name).phase = Phase::renamed;
    files.at(name).output_name = files.at(former).output_name;
    files.at(former).told_missing = true;
}

void WatchedFiles::NoteRenamed(const std::string& name, const std::string& former, Notices& notices) {
    SetRenamed(name, former);
    notices.Add(Notices::Event::renamed,
                name + ": is " + former + ", renamed after it was aligned; the output keeps the former name");
}

// Records the new name of a renamed file. Returns false if the found file is not a known file under a new name, or if
// the known file is being aligned. A renamed file whose reads are in the output is not aligned again. Any other renamed
// file keeps its `since`, so renaming does not delay it.
bool WatchedFiles::IsRenamed(const FoundFile& found, Time now, Notices& notices) {
    const auto former = FormerNameOf(found.stamp);
    if (former == files.end() || former->second.phase == Phase::aligning) {
        return false;
    }
    const auto former_name = former->first;
    const auto since = former->second.since;
    if (HasRows(former->second.phase)) {
        Begin(found.name, found.stamp, now);
        NoteRenamed(found.name, former_name, notices);
        return true;
    }
    Forget(former_name);
    Begin(found.name, found.stamp, now);
    files.at(found.name).since = since;
    return true;
}

void WatchedFiles::NoteMissing(Notices& notices) {
    using Event = Notices::Event;
    std::vector<std::string> forgotten;
    for (auto& [name, file] : files) {
        const bool is_moot = file.phase == Phase::renamed || file.phase == Phase::aligning;
        if (!file.missing || file.told_missing || is_moot) {
            continue;
        }
        if (IsReplaced(name, file)) {
            if (file.phase != Phase::done) {
                forgotten.push_back(name);
            }
            continue;
        }
        file.told_missing = true;
        if (file.phase == Phase::done) {
            notices.Add(Event::disappeared, name + ": disappeared after it was aligned; the output keeps its reads");
        } else if (file.restored) {
            forgotten.push_back(name);
        } else if (file.phase != Phase::given_up) {
            file.reason = "it disappeared before it was aligned";
            file.phase = Phase::given_up;
            notices.Add(Event::disappeared_unaligned, name + ": " + file.reason);
        }
    }
    for (const auto& name : forgotten) {
        Forget(name);
    }
}

void WatchedFiles::Settle(Named named, Notices& notices) {
    auto& [name, file] = *named;
    std::string other;
    const auto* const form = OtherFormOf(name, other);
    if (form != nullptr && form->missing && form->phase == Phase::aligning) {
        return;  // Whether this file is aligned depends on the result of the round.
    }
    if (const auto former = FormerNameOf(file.stamp); former != files.end()) {
        if (HasRows(former->second.phase)) {
            NoteRenamed(name, former->first, notices);
            return;
        }
        if (former->second.phase == Phase::aligning) {
            return;
        }
    }
    if (!IsInTables(name)) {
        GiveUp(name, "names with tabs or line feeds are not supported");
        return;
    }
    if (const auto obstacle = sam_names.Take(name); !obstacle.empty()) {
        GiveUp(name, obstacle);
        return;
    }
    if (form != nullptr && !form->missing && IsTaken(form->phase)) {
        notices.Add(Notices::Event::beside, name + ": is aligned separately from " + other +
                                                ", although it may be the same file in another form");
    }
    file.phase = Phase::waiting;
}

std::vector<std::string> WatchedFiles::Waiting() const {
    std::vector<std::pair<Time, std::string>> waiting;
    for (const auto& [name, file] : files) {
        if (file.phase == Phase::waiting && !file.missing) {
            waiting.emplace_back(file.since, name);
        }
    }
    std::sort(waiting.begin(), waiting.end());
    std::vector<std::string> names;
    names.reserve(waiting.size());
    for (auto& [since, name] : waiting) {
        names.push_back(std::move(name));
    }
    return names;
}

bool WatchedFiles::IsWaiting(const std::string& name) const {
    const auto named = files.find(name);
    return named != files.end() && named->second.phase == Phase::waiting && !named->second.missing;
}

void WatchedFiles::SetDone(const FileRecord& record) {
    const auto known = files.find(record.name);
    auto file = known == files.end() ? Watched{} : known->second;
    file.phase = Phase::done;
    file.stamp = record.stamp;
    file.output_name = record.name;
    file.reads = record.reads.value_or(0);
    file.reason = record.reason;
    sam_names.Take(record.name);
    Set(record.name, file);
}

void WatchedFiles::SetWaiting(const std::string& name) {
    if (const auto named = files.find(name); named != files.end() && named->second.phase == Phase::aligning) {
        named->second.phase = Phase::waiting;
    }
}

bool WatchedFiles::SetWhole(const std::string& name) {
    const auto named = files.find(name);
    if (named == files.end() || named->second.phase != Phase::cut || named->second.missing) {
        return false;
    }
    named->second.phase = Phase::waiting;
    named->second.reason.clear();
    return true;
}

void WatchedFiles::SetCut(const std::string& name, const std::string& reason) {
    if (const auto named = files.find(name); named != files.end()) {
        named->second.phase = Phase::cut;
        named->second.reason = reason;
    }
}

void WatchedFiles::SetLost(const std::string& name, const std::string& reason) {
    const auto named = files.find(name);
    if (named == files.end() || (named->second.missing && IsReplaced(name, named->second))) {
        Forget(name);
        return;
    }
    auto& file = named->second;
    SetWaiting(name);
    if (file.phase == Phase::waiting && ++file.losses > 1) {
        GiveUp(name, reason);
    }
}

void WatchedFiles::GiveUp(const std::string& name, const std::string& reason) {
    auto& file = files.at(name);
    file.phase = Phase::given_up;
    file.reason = reason;
}

Time WatchedFiles::NextSettled() const {
    auto next = Time::max();
    for (const auto& [name, file] : files) {
        if (file.phase == Phase::settling && !file.missing) {
            next = std::min(next, file.since + settle);
        }
    }
    return next;
}

bool WatchedFiles::IsQuiet() const {
    return std::none_of(files.begin(), files.end(), [](const auto& named) {
        const auto& file = named.second;
        return !file.missing && (file.phase == Phase::settling || file.phase == Phase::waiting);
    });
}

}  // namespace Live
