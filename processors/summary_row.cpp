#include "processors/summary_row.h"

#include <array>
#include <charconv>

namespace Tavik {

namespace {

void Append(std::string& row, const std::string& text) {
    row.append("\t").append(text);
}

void Append(std::string& row, std::int32_t number) {
    Append(row, std::to_string(number));
}

void Append(std::string& row, float number) {
    // The general format with six digits is what a standard stream writes by default.
    std::array<char, 32> text{};
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, 6);
    row.append("\t").append(text.data(), end);
}

}  // namespace

std::string SummaryHeader() {
    return "read_id\talignment_genome\talignment_genome_start\talignment_genome_end\t"
           "alignment_strand_start\talignment_strand_end\talignment_num_insertions\t"
           "alignment_num_deletions\talignment_num_aligned\talignment_num_correct\t"
           "alignment_identity\talignment_accuracy\talignment_score\n";
}

std::string SummaryRow(const std::string& read_id, const ThirdPartyAlignment::AlignmentResult& result) {
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
