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

/// Limits on the size of one sample's figures on the page.
struct Detail {
    std::size_t table_rows = 1000;  ///< Rows of the table of reference sequences.
    std::size_t depth_bins = 400;   ///< Bins of each depth profile.
    std::size_t grid_cells = 3000;  ///< Cells of a heat map.
};

/// The counts over all rows of one summary. Memory grows with the number of reference sequences, but not with the
/// number of rows.
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

    /// Computes the breadth of the rows so far.
    void TakeBreadth();

    /// Call after the last row: computes the breadth and frees the memory needed for it.
    void End();

    /// The depth profile of the reference sequence at this position in References; null unless the sequence is one of
    /// the kDepthProfiles longest and its length is known.
    const DepthProfile* DepthOf(std::size_t reference) const;

    /// Mean depth: aligned bases per base of the reference sequences of known length; negative if no length is known.
    double MeanDepth() const;

    /// The breadth over all reference sequences of known length; std::nullopt if no length is known.
    std::optional<Breadth::Shares> TotalBreadth() const;

    std::string name;
    std::string folder;  ///< Folder of the summary.
    RunFacts run;
    std::vector<std::string> warnings;  ///< About the summary and the SAM files.

    std::uint64_t reads = 0;
    std::uint64_t unmapped = 0;
    std::uint64_t rejected = 0;
    std::uint64_t aligned_bases = 0;  ///< Bases aligned to a base, without insertions and deletions.
    std::uint64_t correct = 0;
    std::uint64_t insertions = 0;
    std::uint64_t deletions = 0;
    LengthCounts lengths;  ///< Lengths of the aligned parts, in aligned bases.
    RatioCounts identities;
    RatioCounts accuracies;
    LengthBins grid_lengths;
    CountGrid identity_by_length;
    CountGrid indels;
    ReferenceTable references;
    std::uint64_t too_short_references = 0;  ///< Sequences whose length was dropped: an alignment ends beyond it.
    std::int32_t longest_exact = 0;          ///< The breadth of sequences of at most this length is exact.
    std::int32_t breadth_step = 1;           ///< Distance between sampled positions in the longest sequence.
    Detail detail;

    std::uint64_t Aligned() const { return reads - unmapped - rejected; }

private:
    void AddToReference(const SummaryRow& row);

    std::map<std::size_t, DepthProfile> depths;
    Breadth breadth;
};

/// Counts the rows of the summary at `path`, and reads the SAM headers and the log files of its runs. Calls `progress`
/// from time to time with the number of bytes read from the summary. Throws std::runtime_error as SummaryReader does.
Sample CountSample(const std::string& path, const std::string& name, const Detail& detail,
                   const std::function<void(std::uint64_t)>& progress);

}  // namespace Reports
