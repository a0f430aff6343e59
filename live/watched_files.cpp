#include "live/watched_files.h"

#include <algorithm>
#include <utility>

namespace Live {

using Phase = Watched::Phase;

namespace {

bool IsInTables(const std::string& name) {
    return name.find_first_of("\t\n") == std::string::npos;
}

}  // namespace

WatchedFiles::WatchedFiles(std::chrono::duration<double> settle_time, Reader content_reader)
    : settle(std::chrono::duration_cast<std::chrono::steady_clock::duration>(settle_time)),
      reader(std::move(content_reader)) {}

void WatchedFiles::Restore(const std::vector<FileRecord>& records, Time now) {
    last_change = now;
    for (const auto& record : records) {
        Watched file;
        file.phase = record.reads ? Phase::done : Phase::settling;
        file.stamp = record.stamp;
        file.since = now;
        file.reason = record.reason;
        file.restored = !record.reads;
        files[record.name] = file;
        if (record.reads) {
            sam_owners.emplace(SamNameOf(record.name), record.name);
        }
    }
}

void WatchedFiles::Begin(const std::string& name, const Stamp& stamp, Time now) {
    Watched file;
    file.stamp = stamp;
    file.since = now;
    files[name] = file;
    last_change = now;
}

std::vector<std::string> WatchedFiles::Update(const std::vector<FoundFile>& found, Time now) {
    std::vector<std::string> notices;
    for (auto& [name, file] : files) {
        file.missing = true;
    }
    // Missing names are known before new ones are looked at: a new name may be a renamed file.
    for (const auto& one : found) {
        if (const auto known = files.find(one.name); known != files.end()) {
            known->second.missing = false;
            known->second.restored = false;
        }
    }
    for (const auto& one : found) {
        Look(one, now, notices);
    }
    std::erase_if(files, [](const auto& named) { return named.second.restored && named.second.missing; });
    NoteMissing(notices);
    for (auto file = files.begin(); file != files.end(); ++file) {
        if (file->second.phase == Phase::settling && !file->second.missing && now - file->second.since >= settle) {
            Settle(file, notices);
        }
    }
    return notices;
}

void WatchedFiles::Look(const FoundFile& found, Time now, std::vector<std::string>& notices) {
    const auto known = files.find(found.name);
    if (known != files.end()) {
        LookAtKnown(known, found, now, notices);
    } else if (!IsRenamed(found, now, notices)) {
        Begin(found.name, found.stamp, now);
    }
}

void WatchedFiles::LookAtKnown(Named known, const FoundFile& found, Time now, std::vector<std::string>& notices) {
    auto& file = known->second;
    const bool is_back = std::exchange(file.told_missing, false);
    if (file.stamp.SameContent(found.stamp)) {
        if (is_back && file.phase == Phase::given_up) {
            Begin(found.name, found.stamp, now);
        }
        return;
    }
    if (file.phase != Phase::done && file.phase != Phase::renamed) {
        Begin(found.name, found.stamp, now);
    } else if (!file.changed) {
        file.changed = true;
        file.reason = "it changed after it was aligned; the output holds its former reads";
        last_change = now;
        notices.push_back(found.name + ": " + file.reason);
    }
}

// The missing file that was renamed to a new one.
WatchedFiles::Named WatchedFiles::FormerNameOf(const Stamp& stamp) {
    return std::find_if(files.begin(), files.end(), [&](const auto& named) {
        const auto& file = named.second;
        return file.missing && file.phase != Phase::renamed && file.stamp.inode == stamp.inode &&
               file.stamp.SameContent(stamp);
    });
}

bool WatchedFiles::HasNewName(const Watched& file) const {
    return std::any_of(files.begin(), files.end(), [&](const auto& other) {
        return !other.second.missing && other.second.stamp.inode == file.stamp.inode &&
               other.second.stamp.SameContent(file.stamp);
    });
}

void WatchedFiles::NoteRenamed(const std::string& name, const std::string& former, std::vector<std::string>& notices) {
    files.at(name).phase = Phase::renamed;
    files.at(former).told_missing = true;
    notices.push_back(name + ": is " + former + ", renamed after it was aligned; the output keeps the former name");
}

// A file that was renamed is not aligned again, and need not settle again.
bool WatchedFiles::IsRenamed(const FoundFile& found, Time now, std::vector<std::string>& notices) {
    const auto former = FormerNameOf(found.stamp);
    if (former == files.end() || former->second.phase == Phase::aligning) {
        return false;
    }
    const auto former_name = former->first;
    const auto since = former->second.since;
    if (former->second.phase == Phase::done) {
        Begin(found.name, found.stamp, now);
        NoteRenamed(found.name, former_name, notices);
        return true;
    }
    std::erase_if(sam_owners, [&](const auto& owner) { return owner.second == former_name; });
    files.erase(former);
    Begin(found.name, found.stamp, now);
    files.at(found.name).since = since;
    return true;
}

void WatchedFiles::NoteMissing(std::vector<std::string>& notices) {
    for (auto& [name, file] : files) {
        const bool is_moot = file.phase == Phase::renamed || file.phase == Phase::aligning;
        if (!file.missing || file.told_missing || is_moot || HasNewName(file)) {
            continue;
        }
        file.told_missing = true;
        if (file.phase == Phase::done) {
            notices.push_back(name + ": disappeared after it was aligned; the output keeps its reads");
        } else if (file.phase != Phase::given_up) {
            file.reason = "it disappeared before it was aligned";
            file.phase = Phase::given_up;
            notices.push_back(name + ": " + file.reason);
        }
    }
}

void WatchedFiles::Settle(Named named, std::vector<std::string>& notices) {
    auto& [name, file] = *named;
    if (const auto former = FormerNameOf(file.stamp); former != files.end()) {
        if (former->second.phase == Phase::done) {
            NoteRenamed(name, former->first, notices);
            return;
        }
        if (former->second.phase == Phase::aligning) {
            return;  // The end of the round decides.
        }
    }
    if (!IsInTables(name)) {
        GiveUp(name, "names with tabs or line feeds are not supported");
        return;
    }
    const auto [owner, is_new] = sam_owners.emplace(SamNameOf(name), name);
    if (owner->second != name) {
        GiveUp(name, "its SAM file " + owner->first + " is that of " + owner->second);
        return;
    }
    const auto content = reader(name);
    file.phase = content.whole ? Phase::waiting : Phase::cut;
    file.reason = content.reason;
}

bool WatchedFiles::ReadCutAgain() {
    bool any = false;
    for (auto& [name, file] : files) {
        if (file.phase == Phase::cut && !file.missing && reader(name).whole) {
            file.phase = Phase::waiting;
            file.reason.clear();
            any = true;
        }
    }
    return any;
}

std::vector<std::string> WatchedFiles::Waiting() const {
    std::vector<std::string> names;
    for (const auto& [name, file] : files) {
        if (file.phase == Phase::waiting && !file.missing) {
            names.push_back(name);
        }
    }
    std::stable_sort(names.begin(), names.end(),
                     [this](const auto& a, const auto& b) { return At(a).since < At(b).since; });
    return names;
}

void WatchedFiles::SetDone(const std::string& name, const std::string& reason) {
    auto& file = files.at(name);
    file.phase = Phase::done;
    file.reason = reason;
}

void WatchedFiles::SetWaiting(const std::string& name) {
    auto& file = files.at(name);
    file.phase = file.phase == Phase::aligning ? Phase::waiting : file.phase;
}

void WatchedFiles::SetLost(const std::string& name, const std::string& reason) {
    auto& file = files.at(name);
    if (file.missing && HasNewName(file)) {
        std::erase_if(sam_owners, [&](const auto& owner) { return owner.second == name; });
        files.erase(name);
        return;
    }
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
