#include "live/live_run.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "checks/texts.h"
#include "common/summary_columns.h"
#include "live/content.h"
#include "live/disk_files.h"

namespace Live {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Phase = Watched::Phase;

// A round is limited to about this time, so that results appear and a killed run repeats little.
constexpr double kRoundSeconds = 300;
constexpr double kFirstRoundBytes = 1e9;
constexpr int kMostFailedStarts = 3;
// A look takes at most this part of the time.
constexpr int kLookShare = 20;
constexpr std::chrono::milliseconds kShortestWait{50};
constexpr std::chrono::seconds kLongestWait{1};
// A page takes at most this part of the time.
constexpr int kPageShare = 50;
constexpr std::chrono::seconds kPageInterval{60};
constexpr std::chrono::seconds kPageLife{90};

// A signal has ended the wait for room on the disk.
struct StillFull : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Compressed bytes hold about twice as many bases.
double Work(const std::string& name, const Stamp& stamp) {
    return static_cast<double>(stamp.size) * (name.ends_with("gz") || name.ends_with("GZ") ? 2 : 1);
}

std::string LastLine(const std::string& text) {
    const auto end = text.find_last_not_of('\n');
    const auto begin = end == std::string::npos ? end : text.rfind('\n', end);
    return end == std::string::npos ? "" : text.substr(begin == std::string::npos ? 0 : begin + 1, end - begin);
}

std::uint64_t BytesIn(const std::string& folder) {
    std::uint64_t bytes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && !entry.is_symlink()) {
            bytes += entry.file_size();
        }
    }
    return bytes;
}

Clock::duration Limited(double seconds) {
    constexpr double kLongest = 1e9;
    return std::chrono::duration_cast<Clock::duration>(Seconds(std::min(seconds, kLongest)));
}

// A file that is gone has not changed: its reads were checked.
bool HasChanged(const std::string& path, const Stamp& stamp) {
    try {
        return !StampOf(path).SameContent(stamp);
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace

LiveRun::LiveRun(const Options& given, const RunState& start)
    : options(given),
      status(options.quiet),
      output(options.save_folder),
      state(output.Open(start)),
      files(Seconds(options.settle), [this](const std::string& name) { return ReadToEnd(options.reads + "/" + name); }),
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
            if (const auto round = NextRound(); !round.empty()) {
                RunRound(round);
            } else if (HasEnded()) {
                if (!files.ReadCutAgain()) {
                    AlignWholeReads();
                    break;
                }
            } else {
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
    auto walked = begin;
    try {
        auto look = LookAt(options.reads, options.until_file);
        walked = Clock::now();
        KeepUnreadable(look);
        end_file = look.end_file;
        for (const auto& notice : files.Update(look.files, begin)) {
            status.Tell(notice);
        }
        for (const auto& [name, reason] : look.left_out) {
            if (told_left_out.insert(name).second) {
                status.Tell(std::string(name).append(": left out: ").append(reason));
            }
        }
        last_look_error.clear();
    } catch (const std::system_error& error) {
        // A network disk that is away for a while. Nothing is known then, so nothing has changed.
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

// Nothing is known about the files below a folder that cannot be listed, so they have not changed.
void LiveRun::KeepUnreadable(Look& look) const {
    for (const auto& folder : look.unreadable) {
        for (const auto& [name, file] : files.All()) {
            if (!file.missing && name.starts_with(folder + "/")) {
                look.files.push_back({name, file.stamp});
            }
        }
    }
}

// Waits for a signal or the next look, but not longer than a second, so that the caller can look at other things.
void LiveRun::WaitAndLook() {
    const auto now = Clock::now();
    const auto end = std::min<Time>(next_look, now + kLongestWait);
    if (end > now) {
        Signals::Wait(std::chrono::ceil<std::chrono::milliseconds>(end - now));
    }
    if (Clock::now() >= next_look) {
        LookAtReads();
    }
    if (Clock::now() >= next_page) {
        WritePage();
    }
}

std::vector<RoundFile> LiveRun::NextRound() {
    const auto most = bytes_per_second > 0 ? kRoundSeconds * bytes_per_second : kFirstRoundBytes;
    double bytes = 0;
    std::vector<RoundFile> round;
    std::vector<RoundFile> again;  // One by one, so that no file is lost because of another.
    for (const auto& name : files.Waiting()) {
        const auto& file = files.At(name);
        const RoundFile one{name, options.reads + "/" + name, file.stamp, ""};
        if (file.losses > 0) {
            again.push_back(one);
            continue;
        }
        if (const auto obstacle = output.Obstacle(SamNameOf(name)); !obstacle.empty()) {
            files.GiveUp(name, "its SAM file cannot be made: " + obstacle);
            status.Tell(name + ": " + files.At(name).reason);
            continue;
        }
        bytes += Work(name, file.stamp);
        if (!round.empty() && bytes > std::min(most, largest_round)) {
            break;
        }
        round.push_back(one);
    }
    return again.empty() ? round : std::vector{again.front()};
}

// An index that was replaced meanwhile would give other results.
void LiveRun::CheckReference() const {
    if (const auto differences = RunState::For(options).DifferencesFrom(state); !differences.empty()) {
        throw std::runtime_error("changed while the run went on: " + differences.front());
    }
}

void LiveRun::RunRound(const std::vector<RoundFile>& round_files) {
    const bool are_copies = !round_files.front().loss.empty();
    if (std::error_code unknown; !are_copies && !fs::is_directory(options.reads, unknown)) {
        WaitAndLook();
        return;
    }
    CheckReference();
    was_away = false;
    try {
        const Round round(output.RoundPath(), round_files);
        for (const auto& file : round_files) {
            if (file.loss.empty()) {
                files.SetAligning(file.name);
            }
        }
        const auto begin = Clock::now();
        const int ended = Align(round);
        const auto took = Clock::now() - begin;
        LookAtReads();
        auto outcome = round.Judge(options.allowed_failed_reads);
        outcome.status = ended;
        outcome.milliseconds =
            static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count());
        double bytes = 0;
        for (const auto& file : round_files) {
            bytes += Work(file.name, file.stamp);
        }
        bytes_per_second = bytes / std::max(Seconds(took).count(), 0.01);
        if (outcome.disk_full) {
            largest_round = bytes / 2;
        }
        Take(round, std::move(outcome));
    } catch (const std::system_error& error) {
        if (!IsDiskFull(error.code().value())) {
            throw;
        }
        WaitForRoom(0, error.what());
    }
    for (const auto& file : round_files) {
        files.SetWaiting(file.name);  // Unless the round decided otherwise.
    }
}

// Returns the aligner's status.
int LiveRun::Align(const Round& round) {
    AlignerProcess aligner({options.aligner, "-z", "-i", "", "-s", output.RoundPath(), "-a", options.reference,
                            "--min_coverage", state.min_coverage, "-t", std::to_string(options.worker_threads)},
                           round.ListPath(), round.MessagesPath());
    const auto begin = Clock::now();
    auto ended = aligner.Ended();
    while (!ended) {
        const auto count = Checks::Plural(round.Files().size(), "file");
        status.Show(StatusText("aligning " + count + " for " + Duration(Clock::now() - begin)), false);
        WaitAndLook();
        if (Signals::Stopping() && !std::exchange(told_stopping, true)) {
            status.Tell("ending after this round; a second signal ends at once");
        }
        ended = aligner.Ended();
    }
    return *ended;
}

void LiveRun::Take(const Round& round, Outcome outcome) {
    const auto& list = round.Files();
    if (outcome.disk_full) {
        const auto used = BytesIn(output.RoundPath());
        fs::remove_all(output.RoundPath());
        WaitForRoom(used + used / 4, "the disk is full");
        return;
    }
    if (!was_away) {
        CheckStart(round, outcome);
    }
    outcome.BlameFiles();
    for (std::size_t i = 0; i < list.size(); ++i) {
        auto& kind = outcome.files[i].kind;
        if (kind == FileOutcome::Kind::lost && was_away && list[i].loss.empty()) {
            kind = FileOutcome::Kind::not_begun;  // Not the file's fault.
        }
        if (kind == FileOutcome::Kind::kept && HasChanged(options.reads + "/" + list[i].name, list[i].stamp)) {
            kind = FileOutcome::Kind::changed;
        }
    }
    TellLosses(round, outcome);
    const auto is_kept = [](const auto& file) { return file.kind == FileOutcome::Kind::kept; };
    if (std::none_of(outcome.files.begin(), outcome.files.end(), is_kept)) {
        return;
    }
    auto next = state;
    round.WritePublication(outcome, output.Path(), next);
    report.Count(output.RoundPath() + "/rows", output.RoundPath());
    PublishRound();
    state = std::move(next);
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (is_kept(outcome.files[i])) {
            files.SetDone(list[i].name, list[i].loss);
        }
    }
    const auto now = Clock::now();
    figures.AddReads(now, report.Reads());
    next_page = std::min<Time>(next_page, earliest_page);
    if (now >= next_page) {
        WritePage();
    }
    const auto count = std::count_if(outcome.files.begin(), outcome.files.end(), is_kept);
    status.Show(StatusText("aligned " + Checks::Plural(static_cast<std::uint64_t>(count), "file")), true);
}

// The aligner may be unable to work at all.
void LiveRun::CheckStart(const Round& round, const Outcome& outcome) {
    const bool any_begun = std::any_of(outcome.files.begin(), outcome.files.end(),
                                       [](const auto& file) { return file.kind != FileOutcome::Kind::not_begun; });
    failed_starts = any_begun ? 0 : failed_starts + 1;
    if (!any_begun && (outcome.status == 1 || outcome.status == 255 || failed_starts == kMostFailedStarts)) {
        throw std::runtime_error(outcome.HowEnded() + ": " + LastLine(ReadFile(round.MessagesPath())));
    }
}

void LiveRun::TellLosses(const Round& round, const Outcome& outcome) {
    for (std::size_t i = 0; i < round.Files().size(); ++i) {
        const auto& name = round.Files()[i].name;
        const auto& file = outcome.files[i];
        if (file.kind == FileOutcome::Kind::changed) {
            status.Tell(name + ": changed while it was aligned; it is aligned again when it is complete");
        }
        if (file.kind != FileOutcome::Kind::lost) {
            continue;
        }
        const auto reason = Checks::OneLine(round.WithNames(file.findings.front(), i));
        std::string end;
        if (round.Files()[i].loss.empty()) {  // Not a copy of whole reads.
            files.SetLost(name, reason);
            const auto known = files.All().find(name);
            const bool again = known == files.All().end() || known->second.phase != Phase::given_up;
            end = again ? "; it is tried once more" : "; it failed twice";
        }
        status.Tell(std::string(name).append(": ").append(reason).append(end));
    }
}

void LiveRun::PublishRound() {
    while (true) {
        try {
            output.Publish();
            return;
        } catch (const std::system_error& error) {
            if (!IsDiskFull(error.code().value())) {
                throw;
            }
            WaitForRoom(0, error.what());
        }
    }
}

// Throws StillFull if a signal comes before there is room.
void LiveRun::WaitForRoom(std::uint64_t bytes, const std::string& why) {
    constexpr std::uint64_t kLeast = std::uint64_t{1} << 16U;
    constexpr std::uint64_t kKilobyte = 1000;
    const auto needed = std::max(bytes, kLeast);
    status.Tell(why + "; waiting for room: " + std::to_string(needed / kKilobyte) + " kB are needed in " +
                output.Path());
    do {
        if (Signals::Stopping()) {
            throw StillFull("stopped while the disk is full; call again with the same options when there is room");
        }
        status.Show(StatusText("the disk is full"), false);
        WaitAndLook();
    } while (!HasRoom(output.HiddenPath(), needed));
    status.Tell("there is room again");
}

void LiveRun::WritePage() {
    const auto begin = Clock::now();
    const auto now = std::chrono::system_clock::now();
    try {
        report.Write({now, now + kPageLife});
    } catch (const std::runtime_error& error) {
        status.Tell(error.what());
    }
    const auto end = Clock::now();
    earliest_page = end + kPageShare * (end - begin);
    next_page = std::max<Time>(end + kPageInterval, earliest_page);
}

std::string LiveRun::StatusText(const std::string& now) const {
    return figures.Text(state, files, report) + "; " + now;
}

}  // namespace Live
