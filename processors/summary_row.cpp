#include "processors/summary_row.h"

#include <array>
#include <charconv>

#include "common/summary_columns.h"

namespace Tavik {

namespace {

void Append(std::string& row, const std::string& text) {
    row.append("\t").append(text);
}

void Append(std::string& row, std::int32_t number) {
    Append(row, std::to_string(number));
}

void Append(std::string& row, float number) {
    // The default format of standard streams.
    std::array<char, 32> text{};
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, 6);
    row.append("\t").append(text.data(), end);
}

}  // namespace

std::string SummaryHeader() {
    std::string header;
    for (const auto name : Common::kSummaryColumns) {
        header.append(header.empty() ? "" : "\t").append(name);
    }
    return header + '\n';
}

std::string FormatSummaryRow(const std::string& read_id, const ThirdPartyAlignment::AlignmentResult& result) {
    std::string row = read_id;
    Append(row, result.genome);
    for (const auto number : {result.genome_start, result.genome_end, result.strand_start, result.strand_end,
                              result.num_insertions, result.num_deletions, result.num_aligned, result.num_correct}) {
        Append(row, number);
    }
    Append(row, result.identity);
    Append(row, result.accuracy);
    Append(row, result.strand_score);
    row += '\n';
    return row;
}

}  // namespace Tavik
