#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "live/run_state.h"
#include "live/watched_files.h"
#include "reports/growing_report.h"

namespace Live {

/// Minutes and seconds, "0:07".
std::string Duration(std::chrono::steady_clock::duration time);

/// The figures of a run for its status line.
class RunFigures {
public:
    /// Call after each published round. `reads`: the number of reads in the output.
    void AddReads(Time now, std::uint64_t reads);

    /// The number of files and reads, the share of aligned reads, the reads per minute if at least two rounds were
    /// published in the last ten minutes, and how far the output is behind the sequencer.
    std::string Text(const RunState& state, const WatchedFiles& files, const Reports::GrowingReport& report) const;

private:
    // The arguments of AddReads in the ten minutes before its latest call, and of this call.
    std::deque<std::pair<Time, std::uint64_t>> reads_at;
};

}  // namespace Live
