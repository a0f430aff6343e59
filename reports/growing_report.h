#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "reports/sample.h"

namespace Reports {

/// Why a page is not final yet.
struct LiveNote {
    std::chrono::system_clock::time_point made;
    std::chrono::system_clock::time_point until;  ///< By then, the next page has replaced this one.
};

/// The page of a run that is still in progress. Each row is counted once, so the cost of a page does not grow with the
/// rows before. Not synchronised.
class GrowingReport {
public:
    /// `folder`: the run's save folder.
    explicit GrowingReport(std::string folder) : folder(std::move(folder)) {}

    /// Counts the rows of a summary, which are new. The first call takes the reference sequences from the SAM files in
    /// `sam_folder`. Throws std::runtime_error as SummaryReader does.
    void Count(const std::string& summary, const std::string& sam_folder);

    /// Call after Count. Replaces the page by one with the figures so far. It reloads itself in a browser and says
    /// until when its figures hold. Throws std::runtime_error as OutputFiles does.
    void Write(const LiveNote& note);

    std::uint64_t Reads() const { return sample ? sample->reads : 0; }
    std::uint64_t Aligned() const { return sample ? sample->Aligned() : 0; }

private:
    const std::string folder;
    std::optional<Sample> sample;
};

}  // namespace Reports
