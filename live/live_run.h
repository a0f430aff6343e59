#pragma once

#include <chrono>
#include <future>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "live/aligner_process.h"
#include "live/options.h"
#include "live/output_folder.h"
#include "live/page_times.h"
#include "live/round.h"
#include "live/round_log.h"
#include "live/run_figures.h"
#include "live/run_state.h"
#include "live/signals.h"
#include "live/status_line.h"
#include "live/watched_files.h"
#include "reports/growing_report.h"

namespace Live {

/// Watches a folder and aligns its read files, round by round, until an option or a signal ends the run.
class LiveRun {
public:
    /// Opens the output folder. Throws std::exception if the run cannot begin.
    explicit LiveRun(const Options& options) : LiveRun(options, RunState::For(options)) {}

    /// Returns the exit status. Throws std::exception if the run cannot continue.
    int Run();

private:
    LiveRun(const Options& options, const RunState& start);
    void LookAtReads();
    void TakeLook(Look look, Time now, std::int64_t file_time);
    void WaitAndLook();
    template <typename Work>
    auto Meanwhile(const std::string& what, Work work);
    void KeepUnreadable(Look& look) const;
    bool IsAway(const Look& look) const;
    bool HasEnded();
    bool MayEnd() const;
    std::vector<RoundFile> NextRound();
    bool IsToBeAligned(const std::string& name, Notices& notices);
    bool IsCut(const std::string& name, const Stamp& stamp);
    void CompareForms(const std::string& name, const std::string& former, Notices& notices);
    FileOutcome::Kind RunRound(const std::vector<RoundFile>& files);
    int Align(const Round& round);
    void Take(const Round& round, Outcome& outcome);
    void CheckTexts(const Round& round, const Outcome& outcome);
    void CheckStart(const Round& round, const Outcome& outcome);
    void TakeLosses(const Round& round, const Outcome& outcome);
    void CheckReference() const;
    void Publish(const Round& round, const Outcome& outcome);
    void CompletePublication();
    void WaitForRoom(std::uint64_t bytes, const std::string& why);
    void MakeRoundRoom(const std::string& why);
    void WritePage();
    void TellStopping();
    bool ReadCutAgain();
    void AlignWholeReads();
    void AlignWholeReadsOf(const std::string& name, const std::string& folder);
    std::vector<LostFile> Losses() const;
    std::vector<LostFile> TellAllLosses();
    int Finish();
    void SaveEnd(std::vector<LostFile> losses);
    std::string PathOf(const std::string& name) const { return options.reads + "/" + name; }
    std::string StatusText(const std::string& now) const;

    const Options options;
    const Signals signals;
    StatusLine status;
    OutputFolder output;
    RunState state;
    WatchedFiles files;
    Reports::GrowingReport report;
    PageTimes page_times;
    Time next_look = Time::min();
    bool end_file = false;
    std::optional<FolderId> reads_id;
    bool was_away = false;  // Whether a look failed, or found the disk missing, since the latest round began.
    bool told_stopping = false;
    bool told_unseen_readers = false;
    std::set<std::string> told_left_out;
    std::string last_look_error;
    double bytes_per_second = 0;  // Of the latest round. The function Work in live_run_rounds.cpp counts the bytes.
    double largest_round = std::numeric_limits<double>::infinity();  // Bytes, as above; finite after a full disk.
    bool decompresses_once = true;  // False once a round has failed to align a file decompressed for it.
    int failed_starts = 0;          // Consecutive rounds in which the aligner began no file.
    RunFigures figures;
};

// Does long work in another thread. Meanwhile, the calling thread looks at the watched folder, writes the page and
// shows `what` in the status line. Returns the result of the work, or rethrows its exception.
template <typename Work>
auto LiveRun::Meanwhile(const std::string& what, Work work) {
    std::packaged_task<std::invoke_result_t<Work>()> task(std::move(work));
    auto result = task.get_future();
    const std::jthread thread([&task] {
        task();
        Signals::Wake();
    });
    status.Show(StatusText(what), false);
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        WaitAndLook();
        TellStopping();
    }
    return result.get();
}

}  // namespace Live
