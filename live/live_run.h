#pragma once

#include <chrono>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "live/aligner_process.h"
#include "live/options.h"
#include "live/output_folder.h"
#include "live/round.h"
#include "live/round_log.h"
#include "live/run_figures.h"
#include "live/run_state.h"
#include "live/signals.h"
#include "live/status_line.h"
#include "live/watched_files.h"
#include "reports/growing_report.h"

namespace Live {

/// Watches a folder and aligns what is new, round by round, until the options or a signal end it.
class LiveRun {
public:
    /// Opens the output folder. Throws std::exception if the run cannot begin.
    explicit LiveRun(const Options& options) : LiveRun(options, RunState::For(options)) {}

    /// Returns the exit status. Throws std::exception if the run cannot go on.
    int Run();

private:
    LiveRun(const Options& options, const RunState& start);
    void LookAtReads();
    void WaitAndLook();
    void KeepUnreadable(Look& look) const;
    bool HasEnded();
    bool MayEnd() const;
    std::vector<RoundFile> NextRound();
    void RunRound(const std::vector<RoundFile>& files);
    int Align(const Round& round);
    void Take(const Round& round, Outcome outcome);
    void CheckStart(const Round& round, const Outcome& outcome);
    void TellLosses(const Round& round, const Outcome& outcome);
    void CheckReference() const;
    void PublishRound();
    void WaitForRoom(std::uint64_t bytes, const std::string& why);
    void WritePage();
    void AlignWholeReads();
    std::vector<LostFile> Losses() const;
    std::vector<LostFile> TellAllLosses();
    int Finish();
    void SaveEnd(std::vector<LostFile> losses);
    std::string StatusText(const std::string& now) const;

    const Options options;
    const Signals signals;
    StatusLine status;
    OutputFolder output;
    RunState state;
    WatchedFiles files;
    Reports::GrowingReport report;
    Time next_look = Time::min();
    Time next_page = Time::max();      // When the page is made anew even without new rows.
    Time earliest_page = Time::min();  // Before that, it would cost too much.
    bool end_file = false;
    bool was_away = false;  // The watched folder could not be listed since the round began.
    bool told_stopping = false;
    std::set<std::string> told_left_out;
    std::string last_look_error;
    double bytes_per_second = 0;                                     // Of the last round.
    double largest_round = std::numeric_limits<double>::infinity();  // In bytes; less after a full disk.
    int failed_starts = 0;  // Rounds in a row of which the aligner did not begin any file.
    RunFigures figures;
};

}  // namespace Live
