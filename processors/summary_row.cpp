#include "processors/summary_row.h"

#include <array>
#include <charconv>

#include "common/summary_columns.h"

namespace Tavik {

namespace {

// Appends a tab and a number. `format`: the arguments of std::to_chars after the number.
template <typename Number, typename... Format>
void Append(std::string& row, Number number, Format... format) {
    std::array<char, 32> text;  // NOLINT(cppcoreguidelines-pro-type-member-init): only the written part is read.
    text[0] = '\t';
    const auto [end, error] = std::to_chars(text.data() + 1, text.data() + text.size(), number, format...);
    row.append(text.data(), end);
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
    constexpr auto kGeneral = std::chars_format::general;  // A standard stream's default, with six digits.
    std::string row;
    row.reserve(256);
    row.append(read_id).append("\t").append(result.genome);
    for (const auto number : {result.genome_start, result.genome_end, result.strand_start, result.strand_end,
                              result.num_insertions, result.num_deletions, result.num_aligned, result.num_correct}) {
        Append(row, number);
    }
    Append(row, result.identity, kGeneral, 6);
    Append(row, result.accuracy, kGeneral, 6);
    Append(row, result.strand_score);
    row += '\n';
    return row;
}

}  // namespace Tavik
