#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "checks/texts.h"
#include "live/content.h"
#include "live/disk_files.h"
#include "live/live_run.h"
#include "reports/report.h"

namespace Live {

namespace fs = std::filesystem;

using Phase = Watched::Phase;

namespace {

// True if only the complete reads of the file can be aligned: the file is incomplete, or two rounds lost reads of it.
bool IsNotWhole(const Watched& file) {
    const bool failed = file.phase == Phase::given_up && file.losses > 1;
    return !file.missing && (file.phase == Phase::cut || failed);
}

}  // namespace

// Looks at the folder again before the run ends, because the previous look may be as old as the interval.
bool LiveRun::HasEnded() {
    if (MayEnd()) {
        LookAtReads();
        return MayEnd();
    }
    return false;
}

bool LiveRun::MayEnd() const {
    if (!files.IsQuiet() || !last_look_error.empty()) {
        return false;
    }
    return end_file || (options.until_idle && std::chrono::steady_clock::now() - files.LastChange() >=
                                                  std::chrono::duration<double>(60 * *options.until_idle));
}

// Reads the cut files again, because they may have become readable without a change. Returns true if one of them is
// complete now.
bool LiveRun::ReadCutAgain() {
    std::vector<std::string> cut;
    for (const auto& [name, file] : files.All()) {
        if (file.phase == Phase::cut && !file.missing) {
            cut.push_back(name);
        }
    }
    bool any = false;
    for (const auto& name : cut) {
        const auto content = Meanwhile("reading " + name, [path = PathOf(name)] { return ReadToEnd(path); });
        any = (content.whole && files.SetWhole(name)) || any;
    }
    return any;
}

// Aligns the complete reads of each file that IsNotWhole selects, unless it may be another form of an aligned file.
void LiveRun::AlignWholeReads() {
    const auto folder = output.HiddenPath() + "/whole";
    std::vector<std::string> names;
    for (const auto& [name, file] : files.All()) {
        if (IsNotWhole(file) && files.FormerFormOf(name).empty()) {
            names.push_back(name);
        }
    }
    for (const auto& name : names) {
        AlignWholeReadsOf(name, folder);
    }
    std::error_code error;
    fs::remove_all(folder, error);
}

// Tries again whenever the disk was full or the aligner did not begin the file, and once after a loss.
void LiveRun::AlignWholeReadsOf(const std::string& name, const std::string& folder) {
    const auto found = files.All().find(name);
    if (found == files.All().end() || !IsNotWhole(found->second)) {
        return;  // It was renamed, changed or removed while another file was being aligned.
    }
    const auto known = found->second;
    const RoundFile copy{name, folder + "/copy.fastq", known.stamp, known.reason};
    for (int losses = 0; losses < 2 && !Signals::Stopping();) {
        try {
            fs::create_directories(folder);
            const auto reads =
                Meanwhile("copying complete reads of " + name, [&] { return CopyWholeReads(PathOf(name), copy.path); });
            if (const auto obstacle = output.Obstacle(SamNameOf(name)); reads == 0 || !obstacle.empty()) {
                return;
            }
            if (losses == 0) {
                status.Tell(name + ": " + known.reason + "; only its complete reads will be aligned now");
            }
        } catch (const std::system_error& error) {
            if (!IsDiskFull(error.code().value())) {
                status.Tell(error.what());
                return;
            }
            fs::remove_all(folder);
            WaitForRoom(copy.stamp.size, error.what());
            continue;
        } catch (const std::runtime_error& error) {
            status.Tell(name + ": " + error.what());
            return;
        }
        const auto kind = files.All().count(name) == 0 ? FileOutcome::Kind::changed : RunRound({copy});
        if (kind == FileOutcome::Kind::kept || kind == FileOutcome::Kind::changed) {
            return;
        }
        losses += kind == FileOutcome::Kind::lost ? 1 : 0;
    }
}

std::vector<LostFile> LiveRun::Losses() const {
    std::vector<LostFile> losses;
    for (const auto& [name, file] : files.All()) {
        const bool is_open =
            file.phase == Phase::settling || file.phase == Phase::waiting || file.phase == Phase::aligning;
        const auto reason = !file.reason.empty() ? file.reason : is_open ? "not aligned yet" : "";
        if (!reason.empty()) {
            losses.push_back({name, reason});
        }
    }
    return losses;
}

std::vector<LostFile> LiveRun::TellAllLosses() {
    auto losses = Losses();
    for (const auto& loss : losses) {
        status.Tell(loss.shown + ": " + loss.reason);
    }
    return losses;
}

int LiveRun::Finish() {
    // Print the losses first, because the next steps may fail on a full disk.
    auto losses = TellAllLosses();
    bool failed = false;
    try {
        SaveEnd(losses);
    } catch (const std::runtime_error& error) {
        failed = true;
        status.Tell(error.what());
    }
    Reports::Options page;
    page.summaries = {output.Path()};
    page.quiet = true;
    failed = Reports::MakeReport(page) != 0 || failed;
    status.Print(StatusText(losses.empty() ? "nothing lost"
                                           : Checks::Plural(losses.size(), "file") + " not aligned, or only in part"));
    return losses.empty() && !failed ? kNothingLost : kLost;
}

void LiveRun::SaveEnd(std::vector<LostFile> losses) {
    std::erase_if(state.files, [](const auto& file) { return !file.reads; });
    for (const auto& [name, file] : files.All()) {
        if (file.phase == Phase::given_up && !file.missing) {
            state.GiveUp({name, file.stamp, std::nullopt, file.reason});
        }
    }
    output.Close();
    output.Save(state);
    if (!state.log_name.empty()) {
        for (auto& loss : losses) {
            loss.shown = state.shown_input + "/" + loss.shown;
        }
        output.EndLog(state, RecordsOfEnd(losses, !Signals::Stopping() || files.IsQuiet(), state.milliseconds));
    }
}

}  // namespace Live
