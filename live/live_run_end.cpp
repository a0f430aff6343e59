// What happens at the end of a run.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "checks/texts.h"
#include "live/content.h"
#include "live/live_run.h"
#include "reports/report.h"

namespace Live {

namespace fs = std::filesystem;

using Phase = Watched::Phase;

// The last look may be as old as the interval.
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

// At the end: what is whole in the files that are not.
void LiveRun::AlignWholeReads() {
    const auto folder = output.HiddenPath() + "/whole";
    std::error_code error;
    fs::remove_all(folder, error);
    if (!error) {
        fs::create_directories(folder, error);
    }
    if (error) {
        status.Tell(folder + ": " + error.message());
        return;
    }
    std::vector<RoundFile> copies;
    for (const auto& [name, file] : files.All()) {
        const bool failed = file.phase == Phase::given_up && file.losses > 1;
        if (file.missing || (file.phase != Phase::cut && !failed)) {
            continue;
        }
        status.Tell(std::string(name).append(": not whole: ").append(file.reason) +
                    "; its whole reads are aligned now");
        const auto copy = folder + "/" + std::to_string(copies.size()) + ".fastq";
        try {
            if (CopyWholeReads(options.reads + "/" + name, copy) > 0 && output.Obstacle(SamNameOf(name)).empty()) {
                copies.push_back({name, copy, file.stamp, file.reason});
            }
        } catch (const std::runtime_error& failure) {
            status.Tell(name + ": " + failure.what());
        }
    }
    for (const auto& copy : copies) {
        RunRound({copy});
    }
    fs::remove_all(folder, error);
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
    // First: what follows needs the disk.
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
    status.Print(StatusText(losses.empty() ? "nothing lost" : Checks::Plural(losses.size(), "file") + " not whole"));
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
