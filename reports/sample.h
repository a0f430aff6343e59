#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "reports/breadth.h"
#include "reports/count_grid.h"
#include "reports/depth_profile.h"
#include "reports/length_bins.h"
#include "reports/length_counts.h"
#include "reports/ratio_counts.h"
#include "reports/reference_table.h"
#include "reports/run_facts.h"
#include "reports/summary_reader.h"

namespace Reports {

/// How fine the figures are that a page shows of one sample.
struct Detail {
    std::size_t table_rows = 1000;  ///< Rows of the table of reference sequences.
    std::size_t depth_bins = 400;   ///< Bins of each depth profile.
    std::size_t grid_cells = 3000;  ///< Cells of a heat map.
};

/// All that is counted over the rows of one summary. Its size depends on the number of reference sequences, but
/// not on that of rows.
class Sample {
public:
    /// Bins of the identity-by-length grid: 10 for each power of ten of the length, 200 for the identity.
    static constexpr int kGridBinsPerDecade = 10;
    static constexpr std::size_t kGridIdentityBins = 200;
    /// The grid of insertions (columns) and deletions (rows): bins of 0.1 per 100 aligned bases, up to 40.
    static constexpr std::size_t kIndelBins = 400;
    static constexpr std::size_t kDepthProfiles = 24;

    Sample(std::string name, const ReferenceLengths& lengths, const Detail& detail);

    void Add(const SummaryRow& row);

    /// To be called behind the last row: fills in the breadth, and gives back the memory that it needs.
    void End();

    /// The depth along the reference sequence at this position of References; null if it is not one of the
    /// 24 longest.
    const DepthProfile* DepthOf(std::size_t reference) const;

    /// Mean depth: aligned bases per base of the reference sequences of known length; negative if none is known.
    double MeanDepth() const;

    /// The breadth of the reference sequences of known length together; nothing if none is known.
    std::optional<Breadth::Shares> TotalBreadth() const;

    std::string name;
    std::string folder;  ///< In which the summary lies.
    RunFacts run;
    std::vector<std::string> warnings;  ///< Found out while counting; for the page too.

    std::uint64_t reads = 0;
    std::uint64_t unmapped = 0;
    std::uint64_t rejected = 0;
    std::uint64_t aligned_bases = 0;  ///< Base to base: insertions and deletions do not count.
    std::uint64_t correct = 0;
    std::uint64_t insertions = 0;
    std::uint64_t deletions = 0;
    LengthCounts lengths;  ///< Of the aligned parts, in aligned bases.
    RatioCounts identities;
    RatioCounts accuracies;
    LengthBins grid_lengths;
    CountGrid identity_by_length;
    CountGrid indels;
    ReferenceTable references;
    std::uint64_t too_short_references = 0;  ///< An alignment ends behind their end: their length is forgotten.
    std::int32_t longest_exact = 0;          ///< The breadth of sequences of this length and below is exact.
    std::int32_t breadth_step = 1;           ///< In the longest sequence, every n-th position is looked at.
    Detail detail;

    std::uint64_t Aligned() const { return reads - unmapped - rejected; }

private:
    void AddToReference(const SummaryRow& row);

    std::map<std::size_t, DepthProfile> depths;
    Breadth breadth;
};

/// Counts the rows of the summary at `path`, with what lies beside it: SAM files and log file. `progress` is told
/// how many bytes are read, every now and then. Throws std::runtime_error as SummaryReader does.
Sample CountSample(const std::string& path, const std::string& name, const Detail& detail,
                   const std::function<void(std::uint64_t)>& progress);

}  // namespace Reports
