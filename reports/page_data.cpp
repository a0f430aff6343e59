#include "reports/page_data.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "common/version.h"
#include "reports/page_run.h"

namespace Reports {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLongestName = 80;
constexpr std::size_t kLongestFact = 400;
constexpr int kHistogramBinsPerDecade = 20;

double Rounded(double figure, double steps) {
    return std::round(figure * steps) / steps;
}

// part / whole, or null if the whole is 0.
Json Ratio(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? Json() : Json(Rounded(static_cast<double>(part) / static_cast<double>(whole), 1e6));
}

// The counts from the first to the last non-zero one, and the position of the first.
Json Trimmed(const std::vector<std::uint64_t>& counts) {
    const auto filled = [](std::uint64_t count) { return count > 0; };
    const auto first = std::find_if(counts.begin(), counts.end(), filled);
    const auto last = std::find_if(counts.rbegin(), counts.rend(), filled).base();
    if (first == counts.end()) {
        return {{"first", 0}, {"counts", Json::array()}};
    }
    return {{"first", first - counts.begin()}, {"counts", std::vector<std::uint64_t>(first, last)}};
}

// The shares are rounded down, so that only complete coverage gives 1.
Json BreadthData(const Breadth::Shares& shares) {
    auto data = Json::array();
    for (const auto share : shares) {
        data.push_back(std::floor(share * 1e6) / 1e6);
    }
    return data;
}

Json Totals(const Sample& sample) {
    const auto breadth = sample.TotalBreadth();
    const auto columns = sample.aligned_bases + sample.insertions + sample.deletions;
    const auto depth = sample.MeanDepth();
    const bool has_identity = sample.identities.Count() > 0;
    return {
        {"reads", sample.reads},
        {"aligned", sample.Aligned()},
        {"unmapped", sample.unmapped},
        {"rejected", sample.rejected},
        {"aligned_bases", sample.aligned_bases},
        {"correct_bases", sample.correct},
        {"insertions", sample.insertions},
        {"deletions", sample.deletions},
        {"n50", sample.lengths.N50()},
        {"median_length", sample.lengths.Median()},
        {"longest", sample.lengths.Longest()},
        {"identity", Ratio(sample.correct, sample.aligned_bases)},
        {"accuracy", Ratio(sample.correct, columns)},
        {"median_identity", has_identity ? Json(Rounded(sample.identities.Median(), 1e6)) : Json()},
        {"median_accuracy", has_identity ? Json(Rounded(sample.accuracies.Median(), 1e6)) : Json()},
        {"mean_depth", depth < 0 ? Json() : Json(Rounded(depth, 1e4))},
        {"breadth", breadth ? BreadthData(*breadth) : Json()},
    };
}

Json LengthHistogram(const Sample& sample) {
    const LengthBins bins(kHistogramBinsPerDecade);
    std::vector<std::uint64_t> reads(bins.Count());
    sample.lengths.ForEach([&](std::int32_t length, std::uint64_t count) { reads[bins.BinOf(length)] += count; });
    auto histogram = Trimmed(reads);
    histogram["per_decade"] = kHistogramBinsPerDecade;
    return histogram;
}

// Merges each block of `columns` x `rows` cells of the grid into one cell, and returns the non-zero ones as
// [column, row, count].
Json Cells(const CountGrid& grid, std::size_t columns, std::size_t rows) {
    CountGrid coarse((grid.Columns() + columns - 1) / columns, (grid.Rows() + rows - 1) / rows);
    for (std::size_t row = 0; row < grid.Rows(); ++row) {
        for (std::size_t column = 0; column < grid.Columns(); ++column) {
            coarse.Add(column / columns, row / rows, grid.At(column, row));
        }
    }
    auto cells = Json::array();
    for (std::size_t row = 0; row < coarse.Rows(); ++row) {
        for (std::size_t column = 0; column < coarse.Columns(); ++column) {
            if (const auto count = coarse.At(column, row); count > 0) {
                cells.push_back({column, row, count});
            }
        }
    }
    return cells;
}

Json IdentityByLength(const Sample& sample) {
    std::size_t rows = 1;
    auto cells = Cells(sample.identity_by_length, 1, rows);
    while (cells.size() > sample.detail.grid_cells && rows < Sample::kGridIdentityBins) {
        rows *= 2;
        cells = Cells(sample.identity_by_length, 1, rows);
    }
    return {{"per_decade", Sample::kGridBinsPerDecade},
            {"row_height", static_cast<double>(rows) / static_cast<double>(Sample::kGridIdentityBins)},
            {"cells", std::move(cells)}};
}

Json Indels(const Sample& sample) {
    constexpr double kBinsPerUnit = 10;
    std::size_t width = 1;
    auto cells = Cells(sample.indels, width, width);
    while (cells.size() > sample.detail.grid_cells && width < Sample::kIndelBins) {
        width *= 2;
        cells = Cells(sample.indels, width, width);
    }
    return {{"width", static_cast<double>(width) / kBinsPerUnit},
            {"end", Sample::kIndelBins / kBinsPerUnit},
            {"cells", std::move(cells)}};
}

Json ReferenceRow(const Reference& reference) {
    const auto columns = reference.aligned + reference.insertions + reference.deletions;
    return {
        ForPage(reference.name, kLongestName),
        reference.length > 0 ? Json(reference.length) : Json(),
        reference.forward,
        reference.reverse,
        reference.aligned,
        Ratio(reference.correct, reference.aligned),
        Ratio(reference.correct, columns),
        reference.length > 0 ? Json(Rounded(static_cast<double>(reference.aligned) / reference.length, 1e4)) : Json(),
        reference.length > 0 ? BreadthData(reference.breadth) : Json()};
}

// The sequences with the most reads, and the total number of reads of all others.
Json References(const Sample& sample) {
    const auto& all = sample.references.References();
    std::vector<const Reference*> order;
    order.reserve(all.size());
    for (const auto& reference : all) {
        order.push_back(&reference);
    }
    const auto listed = std::min(sample.detail.table_rows, order.size());
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(listed), order.end(),
                      [](const Reference* a, const Reference* b) {
                          return a->Reads() != b->Reads() ? a->Reads() > b->Reads() : a < b;
                      });
    auto rows = Json::array();
    std::uint64_t other_forward = 0;
    std::uint64_t other_reverse = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (i < listed) {
            rows.push_back(ReferenceRow(*order[i]));
        } else {
            other_forward += order[i]->forward;
            other_reverse += order[i]->reverse;
        }
    }
    return {{"count", all.size()},
            {"rows", std::move(rows)},
            {"longest_exact", sample.longest_exact},
            {"breadth_step", sample.breadth_step},
            {"other_forward", other_forward},
            {"other_reverse", other_reverse}};
}

Json Depths(const Sample& sample) {
    std::vector<std::pair<const Reference*, const DepthProfile*>> profiles;
    const auto& all = sample.references.References();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (const auto* const profile = sample.DepthOf(i); profile != nullptr) {
            profiles.emplace_back(&all[i], profile);
        }
    }
    std::stable_sort(profiles.begin(), profiles.end(),
                     [](const auto& a, const auto& b) { return a.first->length > b.first->length; });
    auto depths = Json::array();
    for (const auto& [reference, profile] : profiles) {
        auto means = Json::array();
        for (const auto depth : profile->MeanDepths()) {
            means.push_back(Rounded(depth, 100));
        }
        depths.push_back({{"name", ForPage(reference->name, kLongestName)},
                          {"length", reference->length},
                          {"bin_width", profile->BinWidth()},
                          {"depths", std::move(means)}});
    }
    return depths;
}

Json SampleData(const Sample& sample) {
    auto warnings = Json::array();
    for (const auto& warning : sample.warnings) {
        warnings.push_back(ForPage(warning, kLongestFact));
    }
    return {{"name", ForPage(sample.name, kLongestName)},
            {"warnings", std::move(warnings)},
            {"totals", Totals(sample)},
            {"identity", Trimmed(sample.identities.ByPerMille())},
            {"identity_quality", Trimmed(sample.identities.ByQuality())},
            {"accuracy", Trimmed(sample.accuracies.ByPerMille())},
            {"accuracy_quality", Trimmed(sample.accuracies.ByQuality())},
            {"lengths", LengthHistogram(sample)},
            {"identity_by_length", IdentityByLength(sample)},
            {"indels", Indels(sample)},
            {"references", References(sample)},
            {"depths", Depths(sample)},
            {"run", RunData(sample.run)},
            {"findings", FindingsData(sample)}};
}

std::string Utf8(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string ForPage(const std::string& text, std::size_t most) {
    auto valid = Json::parse(Utf8(text)).get<std::string>();
    std::vector<std::size_t> starts;  // Where each character starts, in bytes.
    for (std::size_t i = 0; i < valid.size(); ++i) {
        if ((static_cast<unsigned char>(valid[i]) & 0xC0U) != 0x80U) {
            starts.push_back(i);
        }
    }
    if (starts.size() <= most) {
        return valid;
    }
    const auto after = most / 3;
    return valid.substr(0, starts[most - after - 1]) + "\u2026" + valid.substr(starts[starts.size() - after]);
}

std::string PageData(const std::string& title, std::span<const Sample> samples, const std::optional<LiveNote>& live) {
    Json page = {{"title", ForPage(title, kLongestFact)}, {"version", Common::kVersion}, {"samples", Json::array()}};
    for (const auto& sample : samples) {
        page["samples"].push_back(SampleData(sample));
    }
    if (live) {
        const auto milliseconds = [](std::chrono::system_clock::time_point time) {
            return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
        };
        page["live"] = {{"made", milliseconds(live->made)}, {"until", milliseconds(live->until)}};
    }
    const auto text = page.dump(-1, ' ', true);
    std::string escaped;
    for (const char letter : text) {
        if (letter == '<') {
            escaped += "\\u003c";
        } else {
            escaped += letter;
        }
    }
    return escaped;
}

Detail DetailFor(std::size_t samples) {
    constexpr std::size_t kInFull = 8;
    if (samples <= kInFull) {
        return {};
    }
    const Detail full;
    const auto share = [samples](std::size_t figure) { return std::max<std::size_t>(figure * kInFull / samples, 20); };
    return {share(full.table_rows), share(full.depth_bins), share(full.grid_cells)};
}

}  // namespace Reports
