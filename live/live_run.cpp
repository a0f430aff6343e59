#include "live/live_run.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "common/summary_columns.h"
#include "live/disk_files.h"

namespace Live {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// The time between two looks at the watched folder is normally at least kLookShare times the time that listing the
// folder took. The next look comes earlier if a file settles, a round ends or the run is about to end.
constexpr int kLookShare = 20;
constexpr std::chrono::milliseconds kShortestWait{50};
constexpr std::chrono::seconds kLongestWait{1};

// Thrown if a signal ends the wait for disk space.
struct StillFull : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Clock::duration Limited(double seconds) {
    constexpr double kLongest = 1e9;
    return std::chrono::duration_cast<Clock::duration>(Seconds(std::min(seconds, kLongest)));
}

bool AnyPresent(const WatchedFiles& files) {
    return std::any_of(files.All().begin(), files.All().end(), [](const auto& named) { return !named.second.missing; });
}

}  // namespace

LiveRun::LiveRun(const Options& given, const RunState& start)
    : options(given),
      status(options.quiet),
      output(options.save_folder),
      state(output.Open(start)),
      files(Seconds(options.settle)),
      report(output.Path()) {
    files.Restore(state.files, Clock::now());
}

int LiveRun::Run() {
    try {
        if (std::any_of(state.files.begin(), state.files.end(), [](const auto& file) { return file.reads > 0; })) {
            report.Count(output.Path() + "/" + Common::kSummaryFileName, output.Path());
            WritePage();
        }
        while (!Signals::Stopping()) {
            if (Clock::now() >= next_look) {
                LookAtReads();
            }
            const auto round = last_look_error.empty() ? NextRound() : std::vector<RoundFile>();
            if (!round.empty()) {
                RunRound(round);
            } else if (HasEnded()) {
                if (!ReadCutAgain()) {
                    AlignWholeReads();
                    break;
                }
            } else {
                status.Show(StatusText("waiting for files"), false);
                WaitAndLook();
            }
        }
        return Finish();
    } catch (const StillFull& error) {
        status.Tell(error.what());
        TellAllLosses();
        return kLost;
    }
}

void LiveRun::LookAtReads() {
    const auto begin = Clock::now();
    const auto file_time = std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
    auto walked = begin;
    try {
        auto look = LookAt(options.reads, options.until_file);
        walked = Clock::now();
        if (IsAway(look)) {
            throw std::runtime_error(options.reads +
                                     ": empty, and not the same folder as before: a disk may be missing");
        }
        TakeLook(std::move(look), begin, file_time);
        last_look_error.clear();
    } catch (const std::runtime_error& error) {
        // A network disk may be unavailable for a while. All files count as unchanged until the folder can be listed
        // again.
        was_away = true;
        if (last_look_error != error.what()) {
            last_look_error = error.what();
            status.Tell(last_look_error + "; trying again");
        }
    }
    const auto end = Clock::now();
    next_look = std::min(end + std::max(Limited(options.interval), kLookShare * (walked - begin)), files.NextSettled());
    next_look = std::max(next_look, end + kShortestWait);
}

// True if the disk of the watched folder seems to be missing: a mount point without its disk is an empty folder.
bool LiveRun::IsAway(const Look& look) const {
    return look.files.empty() && reads_id && *reads_id != look.id && AnyPresent(files);
}

void LiveRun::TakeLook(Look look, Time now, std::int64_t file_time) {
    reads_id = look.id;
    KeepUnreadable(look);
    if (look.files.empty() && AnyPresent(files)) {
        status.Tell(options.reads + ": no longer contains a read file");
    }
    end_file = look.end_file;
    for (const auto& notice : files.Update(look.files, now, file_time)) {
        status.Tell(notice);
    }
    for (const auto& [name, reason] : look.left_out) {
        if (told_left_out.insert(name).second) {
            status.Tell(std::string(name).append(": left out: ").append(reason));
        }
    }
}

// Adds to `look` the known files below folders that cannot be listed. Nothing is known about changes to these files, so
// they count as unchanged.
void LiveRun::KeepUnreadable(Look& look) const {
    for (const auto& folder : look.unreadable) {
        const auto start = folder + "/";
        for (auto file = files.All().lower_bound(start); file != files.All().end() && file->first.starts_with(start);
             ++file) {
            if (!file->second.missing) {
                look.files.push_back({file->first, file->second.stamp});
            }
        }
    }
}

// Waits for a signal, a call to Signals::Wake or the next look, but at most a second, so that the caller can check
// other conditions. Then looks at the watched folder if a look is due, and writes the page if it is due.
void LiveRun::WaitAndLook() {
    const auto now = Clock::now();
    const auto end = std::min<Time>(next_look, now + kLongestWait);
    if (end > now) {
        Signals::Wait(std::chrono::ceil<std::chrono::milliseconds>(end - now));
    }
    if (Clock::now() >= next_look) {
        LookAtReads();
    }
    if (Clock::now() >= page_times.Due()) {
        WritePage();
    }
}

void LiveRun::TellStopping() {
    if (Signals::Stopping() && !std::exchange(told_stopping, true)) {
        status.Tell("ending after this round; a second signal ends the program at once");
    }
}

// Waits until the disk of the output has room for `bytes` or 64 KiB, whichever is more. `why`: the start of the
// message. Throws StillFull if a signal ends the wait.
void LiveRun::WaitForRoom(std::uint64_t bytes, const std::string& why) {
    constexpr std::uint64_t kLeast = std::uint64_t{1} << 16U;
    constexpr std::uint64_t kKilobyte = 1000;
    const auto needed = std::max(bytes, kLeast);
    status.Tell(why + "; waiting for space: " + std::to_string(needed / kKilobyte) + " kB are needed in " +
                output.Path());
    do {
        if (Signals::Stopping()) {
            throw StillFull(
                "stopped while the disk was full; call tavik_live again with the same options when there is space");
        }
        status.Show(StatusText("the disk is full"), false);
        WaitAndLook();
    } while (!HasRoom(output.HiddenPath(), needed));
    status.Tell("there is enough space again");
}

void LiveRun::WritePage() {
    const auto begin = Clock::now();
    const auto now = std::chrono::system_clock::now();
    try {
        report.Write({now, now + page_times.Life()});
    } catch (const std::runtime_error& error) {
        status.Tell(error.what());
    }
    page_times.Made(begin, Clock::now());
}

std::string LiveRun::StatusText(const std::string& now) const {
    return figures.Text(state, files, report) + "; " + now;
}

}  // namespace Live
