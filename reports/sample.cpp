#include "reports/sample.h"

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <utility>

#include "reports/shown_text.h"

namespace Reports {

namespace {

std::vector<std::int32_t> LengthsOf(const std::vector<Reference>& references) {
    std::vector<std::int32_t> lengths;
    lengths.reserve(references.size());
    for (const auto& reference : references) {
        lengths.push_back(reference.length);
    }
    return lengths;
}

}  // namespace

Sample::Sample(std::string name, const ReferenceLengths& lengths, const Detail& detail)
    : name(std::move(name)),
      grid_lengths(kGridBinsPerDecade),
      identity_by_length(grid_lengths.Count(), kGridIdentityBins),
      indels(kIndelBins, kIndelBins),
      references(lengths),
      detail(detail),
      breadth(LengthsOf(references.References())) {
    const auto& all = references.References();
    std::vector<std::size_t> longest(all.size());
    std::iota(longest.begin(), longest.end(), std::size_t{0});
    const auto profiles = std::min(kDepthProfiles, longest.size());
    std::partial_sort(longest.begin(), longest.begin() + static_cast<std::ptrdiff_t>(profiles), longest.end(),
                      [&all](std::size_t a, std::size_t b) {
                          return all[a].length != all[b].length ? all[a].length > all[b].length : a < b;
                      });
    for (std::size_t i = 0; i < profiles && all[longest[i]].length > 0; ++i) {
        depths.emplace(longest[i], DepthProfile(all[longest[i]].length, detail.depth_bins));
    }
}

void Sample::Add(const SummaryRow& row) {
    ++reads;
    if (!row.IsAligned()) {
        ++(row.IsRejected() ? rejected : unmapped);
        return;
    }
    const auto aligned = static_cast<std::uint64_t>(row.aligned);
    aligned_bases += aligned;
    correct += static_cast<std::uint64_t>(row.correct);
    insertions += static_cast<std::uint64_t>(row.insertions);
    deletions += static_cast<std::uint64_t>(row.deletions);
    lengths.Add(row.aligned);
    AddToReference(row);
    if (aligned == 0) {
        return;  // Without aligned bases there is no identity.
    }
    const auto bin = RatioCounts::BinOf(row.correct, row.aligned);
    identities.Add(row.correct, row.aligned);
    accuracies.Add(row.correct, std::int64_t{row.aligned} + row.insertions + row.deletions);
    identity_by_length.Add(grid_lengths.BinOf(row.aligned), bin / (RatioCounts::kBins / kGridIdentityBins));
    indels.Add(static_cast<std::uint64_t>(row.insertions) * 1000 / aligned,
               static_cast<std::uint64_t>(row.deletions) * 1000 / aligned);
}

void Sample::AddToReference(const SummaryRow& row) {
    const auto hit = references.Find(row.genome);
    auto& reference = references.At(hit.reference);
    ++(hit.is_reverse ? reference.reverse : reference.forward);
    reference.aligned += static_cast<std::uint64_t>(row.aligned);
    reference.correct += static_cast<std::uint64_t>(row.correct);
    reference.insertions += static_cast<std::uint64_t>(row.insertions);
    reference.deletions += static_cast<std::uint64_t>(row.deletions);
    if (reference.length == 0) {
        return;
    }
    if (row.genome_end - 1 > reference.length) {
        ++too_short_references;
        reference.length = 0;
        depths.erase(hit.reference);
        return;
    }
    breadth.Add(hit.reference, row.genome_start - 1, row.genome_end - 1);
    const auto depth = depths.find(hit.reference);
    if (depth != depths.end()) {
        depth->second.Add(row.genome_start - 1, row.genome_end - 1);
    }
}

void Sample::TakeBreadth() {
    longest_exact = breadth.LongestExact();
    for (std::size_t i = 0; i < references.References().size(); ++i) {
        if (auto& reference = references.At(i); reference.length > 0) {
            reference.breadth = breadth.SharesOf(i);
            breadth_step = std::max(breadth_step, breadth.StepOf(i));
        }
    }
}

void Sample::End() {
    TakeBreadth();
    breadth = Breadth({});
}

const DepthProfile* Sample::DepthOf(std::size_t reference) const {
    const auto found = depths.find(reference);
    return found == depths.end() ? nullptr : &found->second;
}

double Sample::MeanDepth() const {
    std::uint64_t bases = 0;
    std::uint64_t length = 0;
    for (const auto& reference : references.References()) {
        if (reference.length > 0) {
            bases += reference.aligned;
            length += static_cast<std::uint64_t>(reference.length);
        }
    }
    return length == 0 ? -1 : static_cast<double>(bases) / static_cast<double>(length);
}

std::optional<Breadth::Shares> Sample::TotalBreadth() const {
    Breadth::Shares covered{};
    double length = 0;
    for (const auto& reference : references.References()) {
        length += reference.length;
        for (std::size_t i = 0; i < covered.size(); ++i) {
            covered[i] += reference.breadth[i] * reference.length;
        }
    }
    if (length == 0) {
        return std::nullopt;
    }
    for (auto& share : covered) {
        share /= length;
    }
    return covered;
}

Sample CountSample(const std::string& path, const std::string& name, const Detail& detail,
                   const std::function<void(std::uint64_t)>& progress) {
    constexpr std::uint64_t kRowsPerProgress = 1U << 16U;
    SummaryReader reader(path);
    const auto parent = std::filesystem::path(path).parent_path();
    const auto folder = parent.empty() ? "." : parent.string();
    std::vector<std::string> warnings;
    const auto reference_lengths = ReadSamReferences(folder, warnings);
    Sample sample(name, reference_lengths, detail);
    sample.folder = folder;
    sample.warnings = std::move(warnings);
    SummaryRow row;
    while (reader.Next(row)) {
        sample.Add(row);
        if (sample.reads % kRowsPerProgress == 0) {
            progress(reader.BytesRead());
        }
    }
    sample.End();
    if (reader.HalfLine() > 0) {
        sample.warnings.push_back(
            path + ": line " + std::to_string(reader.HalfLine()) +
            ": the row is incomplete, probably because the run was interrupted; it is not counted");
    }
    if (sample.too_short_references > 0) {
        sample.warnings.push_back(
            path + ": depth and breadth are left out for " +
            Counted(sample.too_short_references, "reference sequence") +
            ", because alignments end beyond the end that the SAM files give: the SAM files are from another run");
    }
    const auto& ambiguous = sample.references.AmbiguousNames();
    if (!ambiguous.empty()) {
        sample.warnings.push_back(path + ": " + Counted(ambiguous.size(), "name") + ", such as " +
                                  Shown(ambiguous.front()) +
                                  ", could mean a reference sequence or the reverse strand of another: counted as the "
                                  "reverse strand");
    }
    sample.run = ReadRunFacts(folder);
    return sample;
}

}  // namespace Reports
