#include "live/run_figures.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "checks/texts.h"

namespace Live {

namespace {

constexpr std::chrono::minutes kRateWindow{10};

std::string Behind(const WatchedFiles& files) {
    using Phase = Watched::Phase;
    std::uint64_t count = 0;
    const auto now = std::chrono::steady_clock::now();
    auto oldest = now;
    for (const auto& [name, file] : files.All()) {
        if (!file.missing && (file.phase == Phase::waiting || file.phase == Phase::aligning)) {
            ++count;
            oldest = std::min(oldest, file.since);
        }
    }
    return count == 0 ? "up to date" : Checks::Plural(count, "file") + " and " + Duration(now - oldest) + " behind";
}

}  // namespace

std::string Duration(std::chrono::steady_clock::duration time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
    std::ostringstream text;
    text << seconds / 60 << ':' << std::setw(2) << std::setfill('0') << seconds % 60;
    return text.str();
}

void RunFigures::AddReads(Time now, std::uint64_t reads) {
    reads_at.emplace_back(now, reads);
    while (now - reads_at.front().first > kRateWindow) {
        reads_at.pop_front();
    }
}

std::string RunFigures::Text(const RunState& state, const WatchedFiles& files,
                             const Reports::GrowingReport& report) const {
    const auto done =
        std::count_if(state.files.begin(), state.files.end(), [](const auto& file) { return file.reads.has_value(); });
    std::ostringstream text;
    text << std::fixed << Checks::Plural(static_cast<std::uint64_t>(done), "file") << ", "
         << Checks::Plural(report.Reads(), "read");
    if (report.Reads() > 0) {
        text << ", " << std::setprecision(1)
             << 100 * static_cast<double>(report.Aligned()) / static_cast<double>(report.Reads()) << " % aligned";
    }
    const auto window_begin = std::chrono::steady_clock::now() - kRateWindow;
    const auto first = std::find_if(reads_at.begin(), reads_at.end(),
                                    [window_begin](const auto& entry) { return entry.first >= window_begin; });
    if (reads_at.end() - first > 1) {
        using Minutes = std::chrono::duration<double, std::ratio<60>>;
        const auto& last = reads_at.back();
        text << ", " << std::setprecision(0)
             << static_cast<double>(last.second - first->second) / Minutes(last.first - first->first).count()
             << " reads/min";
    }
    text << ", " << Behind(files);
    return text.str();
}

}  // namespace Live
