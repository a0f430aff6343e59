// What happens at the end of a run.
#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "checks/texts.h"
#include "live/content.h"
#include "live/live_run.h"
#include "reports/report.h"

namespace Live {

namespace fs = std::filesystem;

using Phase = Watched::Phase;

// At the end: what is whole in the files that are not.
void LiveRun::AlignWholeReads() {
    const auto folder = output.HiddenPath() + "/whole";
    fs::remove_all(folder);
    fs::create_directories(folder);
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
        } catch (const std::runtime_error& error) {
            status.Tell(name + ": " + error.what());
        }
    }
    for (const auto& copy : copies) {
        RunRound({copy});
    }
    fs::remove_all(folder);
}

std::vector<LostFile> LiveRun::Losses() const {
    std::vector<LostFile> losses;
    for (const auto& [name, file] : files.All()) {
        const bool is_open = file.phase == Phase::settling || file.phase == Phase::waiting;
        const auto reason = !file.reason.empty() ? file.reason : is_open ? "not aligned yet" : "";
        if (!reason.empty()) {
            losses.push_back({name, reason});
        }
    }
    return losses;
}

int LiveRun::Finish() {
    std::erase_if(state.files, [](const auto& file) { return !file.reads; });
    for (const auto& [name, file] : files.All()) {
        if (file.phase == Phase::given_up && !file.missing) {
            state.GiveUp({name, file.stamp, std::nullopt, file.reason});
        }
    }
    output.Close();
    output.Save(state);
    auto losses = Losses();
    for (const auto& loss : losses) {
        status.Tell(loss.shown + ": " + loss.reason);
    }
    if (!state.log_name.empty()) {
        for (auto& loss : losses) {
            loss.shown = state.shown_input + "/" + loss.shown;
        }
        output.EndLog(state, RecordsOfEnd(losses, !Signals::Stopping() || files.IsQuiet(), state.milliseconds));
    }
    Reports::Options page;
    page.summaries = {output.Path()};
    page.quiet = true;
    Reports::MakeReport(page);
    status.Print(StatusText(losses.empty() ? "nothing lost" : Checks::Plural(losses.size(), "file") + " not whole"));
    return losses.empty() ? kNothingLost : kLost;
}

}  // namespace Live
