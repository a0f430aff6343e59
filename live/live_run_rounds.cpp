#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "checks/texts.h"
#include "common/file_identity.h"
#include "common/sequencing_file.h"
#include "common/summary_columns.h"
#include "live/content.h"
#include "live/disk_files.h"
#include "live/live_run.h"

namespace Live {

namespace fs = std::filesystem;

using Kind = FileOutcome::Kind;
using Phase = Watched::Phase;

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// A round is limited to about this time, so that results appear soon and little work is lost if the run is killed.
constexpr double kRoundSeconds = 300;
constexpr double kFirstRoundBytes = 1e9;
constexpr int kMostFailedStarts = 3;
// After this time, NextRound adds no further file to a round that already has one, because reading files that look cut
// may take a long time.
constexpr std::chrono::seconds kReadingTime{1};

bool IsCompressed(const std::string& name) {
    return Common::HasCompressedReadFileExtension(name);
}

// The work of aligning a file, in bytes of a plain file. A byte of a gzip file contains about as many bases as two
// bytes of a plain file.
double Work(const std::string& name, const Stamp& stamp) {
    return static_cast<double>(stamp.size) * (IsCompressed(name) ? 2 : 1);
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

// Empty if there is no such file.
std::optional<Stamp> CurrentStamp(const std::string& path) {
    try {
        return StampOf(path);
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

// See Common::FileIdentity; empty if there is no such file.
std::string IdentityOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? Common::FileIdentity(status) : "";
}

bool IsKept(const FileOutcome& file) {
    return file.kind == Kind::kept;
}

}  // namespace

std::vector<RoundFile> LiveRun::NextRound() {
    const auto most =
        std::min(largest_round, bytes_per_second > 0 ? kRoundSeconds * bytes_per_second : kFirstRoundBytes);
    const auto reading_ends = Clock::now() + kReadingTime;
    double bytes = 0;
    std::vector<RoundFile> round;
    // Files that lost reads in an earlier round. Each gets a round of its own, so that it cannot harm other files.
    std::vector<RoundFile> again;
    Notices notices;
    for (const auto& name : files.Waiting()) {
        if (Signals::Stopping() || (!round.empty() && Clock::now() > reading_ends)) {
            break;
        }
        if (!IsToBeAligned(name, notices)) {
            continue;
        }
        const auto& file = files.At(name);
        const RoundFile one{name, PathOf(name), file.stamp, ""};
        if (file.losses > 0) {
            again.push_back(one);
            continue;
        }
        bytes += Work(name, file.stamp);
        if (!round.empty() && bytes > most) {
            break;
        }
        round.push_back(one);
    }
    for (const auto& notice : notices.Texts()) {
        status.Tell(notice);
    }
    if (!again.empty()) {
        round = {again.front()};
    }
    if (decompresses_once && again.empty() &&
        std::any_of(round.begin(), round.end(), [](const auto& one) { return IsCompressed(one.name); })) {
        Meanwhile("decompressing", [&round] { DecompressOnce(round); });
    }
    // Files that were chosen may have been renamed or changed while other files were read or decompressed.
    std::erase_if(round, [this](const RoundFile& one) {
        return !files.IsWaiting(one.name) || !files.At(one.name).stamp.SameContent(one.stamp);
    });
    return round;
}

// True if the file can be part of the next round. The file may no longer be waiting, because LiveRun looks at the
// folder while it reads other files.
bool LiveRun::IsToBeAligned(const std::string& name, Notices& notices) {
    if (!files.IsWaiting(name)) {
        return false;
    }
    if (const auto former = files.FormerFormOf(name); !former.empty()) {
        CompareForms(name, former, notices);
        return false;
    }
    const auto stamp = files.At(name).stamp;
    const bool may_be_cut = files.WriterPauses() || stamp.size == 0 || LooksCut(PathOf(name));
    if (may_be_cut && (IsCut(name, stamp) || !files.IsWaiting(name))) {
        return false;
    }
    if (const auto obstacle = output.Obstacle(SamNameOf(name)); !obstacle.empty()) {
        files.GiveUp(name, "its SAM file cannot be made: " + obstacle);
        status.Tell(name + ": " + files.At(name).reason);
        return false;
    }
    return true;
}

// True if the content is incomplete. An incomplete file that still has `stamp` is marked as cut.
bool LiveRun::IsCut(const std::string& name, const Stamp& stamp) {
    const auto content = Meanwhile("reading " + name, [path = PathOf(name)] { return ReadToEnd(path); });
    if (content.whole) {
        return false;
    }
    if (const auto current = CurrentStamp(PathOf(name)); current && current->SameContent(stamp)) {
        files.SetCut(name, content.reason);
    }
    return true;
}

// `former` is an aligned file that has disappeared, and `name` may be its compressed or uncompressed form. If `name`
// has the same reads, it is not aligned again. If it has other reads, it is given up on, or marked as cut if it is
// incomplete.
void LiveRun::CompareForms(const std::string& name, const std::string& former, Notices& notices) {
    const auto sam = output.Path() + "/" + SamNameOf(former);
    const auto reads = files.At(former).reads;
    const auto stamp = files.At(name).stamp;
    const bool same = Meanwhile("comparing " + name + " with " + former,
                                [=, path = PathOf(name)] { return HoldsReadsOf(sam, reads, path); });
    if (!files.IsWaiting(name) || files.FormerFormOf(name) != former) {
        return;
    }
    if (same) {
        files.SetOtherForm(name, former, notices);
    } else if (!IsCut(name, stamp) && files.IsWaiting(name)) {
        files.GiveUp(name, "its reads differ from those of " + former +
                               ", which was aligned before; the output keeps the reads of " + former);
        status.Tell(name + ": " + files.At(name).reason);
    }
}

// Throws if the reference has changed, because all rounds must use the same one.
void LiveRun::CheckReference() const {
    if (const auto differences = RunState::For(options).DifferencesFrom(state); !differences.empty()) {
        throw std::runtime_error("changed during the run: " + differences.front());
    }
}

// Aligns, checks and publishes the files. Returns the outcome of the first file.
Kind LiveRun::RunRound(const std::vector<RoundFile>& round_files) {
    const bool are_copies = !round_files.front().loss.empty();
    if (std::error_code unknown; !are_copies && !fs::is_directory(options.reads, unknown)) {
        WaitAndLook();
        return Kind::not_begun;
    }
    CheckReference();
    const auto index = IdentityOf(options.reference);
    was_away = false;
    auto first = Kind::not_begun;
    try {
        const Round round(output.RoundPath(), round_files);
        for (const auto& file : round_files) {
            files.SetAligning(file.name);
        }
        const auto begin = Clock::now();
        const int ended = Align(round);
        const auto took = Clock::now() - begin;
        LookAtReads();
        const auto count = Checks::Plural(round_files.size(), "file");
        auto outcome = Meanwhile("checking " + count, [&] { return round.Judge(options.allowed_failed_reads); });
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
            MakeRoundRoom("the disk is full");
        } else {
            Take(round, outcome);
            first = outcome.files.front().kind;
            if (first == Kind::kept && IdentityOf(options.reference) == index) {
                ::setenv(Common::kCheckedIndex, index.c_str(), 1);  // The aligner has just checked this index.
            }
        }
    } catch (const std::system_error& error) {
        if (!IsDiskFull(error.code().value())) {
            throw;
        }
        MakeRoundRoom(error.what());
    }
    for (const auto& file : round_files) {
        files.SetWaiting(file.name);  // Does nothing for a file that is now done, cut or given up on.
        if (are_copies && files.IsWaiting(file.name)) {
            files.SetCut(file.name, file.loss);
        }
    }
    return first;
}

// Removes the round and waits until there is space to make it again.
void LiveRun::MakeRoundRoom(const std::string& why) {
    std::uint64_t used = 0;
    if (fs::exists(output.RoundPath())) {
        used = BytesIn(output.RoundPath());
        fs::remove_all(output.RoundPath());
    }
    WaitForRoom(used + used / 4, why);
}

// Returns the aligner's status; see AlignerProcess::Ended.
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
        TellStopping();
        ended = aligner.Ended();
    }
    return *ended;
}

void LiveRun::Take(const Round& round, Outcome& outcome) {
    const auto& list = round.Files();
    CheckTexts(round, outcome);
    if (!was_away) {
        CheckStart(round, outcome);
    }
    outcome.BlameFiles();
    for (std::size_t i = 0; i < list.size(); ++i) {
        auto& kind = outcome.files[i].kind;
        if (kind == Kind::lost && was_away && list[i].loss.empty()) {
            kind = Kind::not_begun;  // The cause may be the missing disk rather than the file.
        }
        // A file that was changed and then renamed is known only by its new name.
        const auto known = files.All().find(list[i].name);
        const bool is_known = known != files.All().end() && known->second.phase == Phase::aligning;
        // A file that has disappeared counts as unchanged: its reads were checked.
        const auto current = CurrentStamp(PathOf(list[i].name));
        if (kind == Kind::kept && (!is_known || (current && !current->SameContent(list[i].stamp)))) {
            kind = Kind::changed;
        }
    }
    TakeLosses(round, outcome);
    const auto kept = std::count_if(outcome.files.begin(), outcome.files.end(), IsKept);
    if (kept == 0) {
        return;
    }
    Publish(round, outcome);
    const auto now = Clock::now();
    figures.AddReads(now, report.Reads());
    page_times.NewRows();
    if (now >= page_times.Due()) {
        WritePage();
    }
    status.Show(StatusText("aligned " + Checks::Plural(static_cast<std::uint64_t>(kept), "file")), true);
}

// An aligner in a container of its own cannot open the decompressed texts. An aligner whose memory limit includes the
// texts may be killed. After a failure that may have one of these causes, no further files are decompressed.
void LiveRun::CheckTexts(const Round& round, const Outcome& outcome) {
    for (std::size_t i = 0; i < round.Files().size(); ++i) {
        if (round.Files()[i].text && outcome.files[i].kind != Kind::kept) {
            decompresses_once = false;
        }
    }
}

// Throws if the aligner began no file and seems unable to begin any: it ended with the status of a wrong reference or
// wrong options, or it has begun no file in kMostFailedStarts consecutive rounds.
void LiveRun::CheckStart(const Round& round, const Outcome& outcome) {
    const bool any_begun = std::any_of(outcome.files.begin(), outcome.files.end(),
                                       [](const auto& file) { return file.kind != FileOutcome::Kind::not_begun; });
    failed_starts = any_begun ? 0 : failed_starts + 1;
    if (!any_begun && (outcome.status == 1 || outcome.status == 255 || failed_starts == kMostFailedStarts)) {
        throw std::runtime_error(outcome.HowEnded() + ": " + LastLine(ReadFile(round.MessagesPath())));
    }
}

void LiveRun::TakeLosses(const Round& round, const Outcome& outcome) {
    for (std::size_t i = 0; i < round.Files().size(); ++i) {
        const auto& [name, path, stamp, loss, text] = round.Files()[i];
        const auto& file = outcome.files[i];
        if (file.kind == Kind::changed) {
            status.Tell(name + ": changed during its round; it will be aligned again when it is complete");
        }
        const bool is_copy = !loss.empty();
        if (file.kind != Kind::lost || (!is_copy && IsCut(name, stamp))) {
            continue;
        }
        const auto reason = Checks::OneLine(round.WithNames(file.findings.front(), i));
        std::string end;
        if (!is_copy) {
            files.SetLost(name, reason);
            const auto known = files.All().find(name);
            const bool again = known == files.All().end() || known->second.phase != Phase::given_up;
            end = again ? "; the file will be aligned once more" : "; the file failed twice";
        }
        status.Tell(std::string(name).append(": ").append(reason).append(end));
    }
}

// Throws std::system_error if the disk is full; the round must then be made again.
void LiveRun::Publish(const Round& round, const Outcome& outcome) {
    auto next = state;
    round.WritePublication(outcome, output.Path(), next);
    Meanwhile("publishing", [this] { output.Prepare(); });
    report.Count(output.ReadyPath() + "/rows", output.ReadyPath());
    CompletePublication();
    state = std::move(next);
    for (std::size_t i = 0; i < outcome.files.size(); ++i) {
        if (IsKept(outcome.files[i])) {
            const auto& file = round.Files()[i];
            files.SetDone({file.name, file.stamp, outcome.files[i].reads, file.loss});
        }
    }
    if (!output.SeesReaders() && !std::exchange(told_unseen_readers, true)) {
        status.Tell(output.Path() + ": its file system does not show who reads a file; a program that reads " +
                    Common::kSummaryFileName + " for longer than a round may see rows of the next one");
    }
}

void LiveRun::CompletePublication() {
    while (true) {
        try {
            Meanwhile("publishing", [this] { output.Publish(); });
            return;
        } catch (const std::system_error& error) {
            if (!IsDiskFull(error.code().value())) {
                throw;
            }
            WaitForRoom(0, error.what());
        }
    }
}

}  // namespace Live
