#include "reports/summary_reader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <system_error>

#include "common/summary_columns.h"
#include "reports/shown_text.h"

namespace Reports {

namespace {

enum Column : std::size_t {
    kReadId,
    kGenome,
    kGenomeStart,
    kGenomeEnd,
    kStrandStart,
    kStrandEnd,
    kInsertions,
    kDeletions,
    kAligned,
    kCorrect,
    kIdentity,
    kAccuracy,
    kScore,
    kColumns
};
static_assert(kColumns == Common::kSummaryColumns.size());

// Names of reference sequences may be long, but a file with a longer line than this is not a summary.
constexpr std::size_t kLongestLine = std::size_t{64} << 20U;

// The aligner writes ratios with six significant digits.
constexpr double kRatioTolerance = 2e-6;

std::string Name(std::size_t column) {
    return std::string(Common::kSummaryColumns.at(column));
}

void Split(std::string_view line, std::vector<std::string_view>& cells) {
    cells.clear();
    while (true) {
        const auto tab = line.find('\t');
        cells.push_back(line.substr(0, tab));
        if (tab == std::string_view::npos) {
            return;
        }
        line.remove_prefix(tab + 1);
    }
}

}  // namespace

SummaryReader::SummaryReader(const std::string& path, std::size_t block)
    : path(path), lines(path, block, kLongestLine) {
    std::string_view line;
    if (!NextLine(line)) {
        Refuse(half_line == 0 ? "the file is empty" : "the header line is incomplete");
    }
    Split(line, cells);
    if (!std::equal(cells.begin(), cells.end(), Common::kSummaryColumns.begin(), Common::kSummaryColumns.end())) {
        Refuse("not the header of an alignment summary: " + Shown(line));
    }
}

void SummaryReader::Refuse(const std::string& reason) const {
    throw std::runtime_error(path + ": line " + std::to_string(lines.LineNumber()) + ": " + reason);
}

bool SummaryReader::NextLine(std::string_view& line) {
    try {
        if (lines.Next(line)) {
            return true;
        }
    } catch (const std::length_error&) {
        Refuse("longer than 64 MiB, so not a row of a summary");
    }
    half_line = lines.HalfLine().empty() ? 0 : lines.LineNumber();
    return false;
}

std::int32_t SummaryReader::Number(std::string_view text, std::size_t column) const {
    std::int32_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || rest != text.data() + text.size()) {
        Refuse(Name(column) + " is not a whole number: " + Shown(text));
    }
    return number;
}

bool SummaryReader::Next(SummaryRow& row) {
    std::string_view line;
    if (!NextLine(line)) {
        return false;
    }
    Split(line, cells);
    if (cells.size() != kColumns) {
        Refuse(Counted(cells.size(), "column") + " instead of " + std::to_string(kColumns));
    }
    row.genome = cells[kGenome];
    row.genome_start = Number(cells[kGenomeStart], kGenomeStart);
    row.genome_end = Number(cells[kGenomeEnd], kGenomeEnd);
    row.insertions = Number(cells[kInsertions], kInsertions);
    row.deletions = Number(cells[kDeletions], kDeletions);
    row.aligned = Number(cells[kAligned], kAligned);
    row.correct = Number(cells[kCorrect], kCorrect);
    Number(cells[kScore], kScore);
    if (row.genome == "*") {
        CheckUnaligned(row);
    } else {
        CheckAligned(row);
    }
    return true;
}

void SummaryReader::CheckUnaligned(const SummaryRow& row) const {
    if (row.genome_start != -1 && row.genome_start != 0) {
        Refuse(Name(kGenomeStart) + " of an unaligned read is neither -1 nor 0: " + Shown(cells[kGenomeStart]));
    }
    for (std::size_t column = kGenomeEnd; column < kColumns; ++column) {
        if (cells[column] != "-1") {
            Refuse(Name(column) + " of an unaligned read is not -1: " + Shown(cells[column]));
        }
    }
}

void SummaryReader::CheckAligned(const SummaryRow& row) const {
    if (row.genome.empty()) {
        Refuse(Name(kGenome) + " is empty");
    }
    const std::int64_t strand_start = Number(cells[kStrandStart], kStrandStart);
    const std::int64_t strand_end = Number(cells[kStrandEnd], kStrandEnd);
    if (row.genome_start < 1) {
        Refuse(Name(kGenomeStart) + " of an aligned read is below 1: " + Shown(cells[kGenomeStart]));
    }
    if (strand_start < 0 || row.insertions < 0 || row.deletions < 0 || row.aligned < 0 || row.correct < 0) {
        Refuse("an aligned read has a negative count");
    }
    if (row.correct > row.aligned) {
        Refuse(Name(kCorrect) + " is larger than " + Name(kAligned));
    }
    if (std::int64_t{row.genome_start} + row.aligned + row.deletions != row.genome_end) {
        Refuse(Name(kGenomeEnd) + " is not start + aligned + deletions: " + Shown(cells[kGenomeEnd]));
    }
    if (strand_start + row.aligned + row.insertions != strand_end) {
        Refuse(Name(kStrandEnd) + " is not start + aligned + insertions: " + Shown(cells[kStrandEnd]));
    }
    CheckRatio(kIdentity, row.correct, row.aligned);
    CheckRatio(kAccuracy, row.correct, std::int64_t{row.aligned} + row.insertions + row.deletions);
}

void SummaryReader::CheckRatio(std::size_t column, std::int64_t part, std::int64_t whole) const {
    if (whole == 0) {
        return;  // The aligner divides by 0 here, so the cell contains "nan" or the like.
    }
    const auto text = cells[column];
    double ratio = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), ratio);
    const auto expected = static_cast<double>(part) / static_cast<double>(whole);
    if (error != std::errc() || rest != text.data() + text.size() || !(std::abs(ratio - expected) <= kRatioTolerance)) {
        Refuse(Name(column) + " does not follow from the counts: " + Shown(text));
    }
}

}  // namespace Reports
