#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "reports/sample.h"

namespace Reports {

/// The times that the page of a run in progress shows.
struct LiveNote {
    std::chrono::system_clock::time_point made;   ///< When the page was made.
    std::chrono::system_clock::time_point until;  ///< A new page replaces this one by then.
};

/// The page of a run in progress. Each row is counted once, so the cost of a page does not grow with the number of
/// earlier rows. Not synchronised.
class GrowingReport {
public:
    /// `folder`: the run's save folder.
    explicit GrowingReport(std::string folder) : folder(std::move(folder)) {}

    /// Adds the rows of a summary to those already counted. The first call takes the reference sequences from the SAM
    /// files in `sam_folder`. Throws std::runtime_error as SummaryReader does.
    void Count(const std::string& summary, const std::string& sam_folder);

    /// Replaces the page with one that shows the figures so far and the times in `note`, and that reloads itself in a
    /// browser. Call only after Count has returned. Throws std::runtime_error as OutputFiles does.
    void Write(const LiveNote& note);

    std::uint64_t Reads() const { return sample ? sample->reads : 0; }
    std::uint64_t Aligned() const { return sample ? sample->Aligned() : 0; }

private:
    const std::string folder;
    std::optional<Sample> sample;
};

}  // namespace Reports
