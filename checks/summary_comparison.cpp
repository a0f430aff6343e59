#include "checks/summary_comparison.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <tuple>

#include "checks/texts.h"
#include "common/summary_columns.h"

namespace Checks {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16U;
constexpr std::size_t kLongestLine = std::size_t{64} << 20U;

std::string Header() {
    std::string header;
    for (const auto column : Common::kSummaryColumns) {
        header.append(header.empty() ? "" : "\t").append(column);
    }
    return header;
}

// The cell after the first `skipped` tabs.
std::string_view Cell(std::string_view cells, std::size_t skipped) {
    for (; skipped > 0; --skipped) {
        cells.remove_prefix(cells.find('\t') + 1);
    }
    return cells.substr(0, cells.find('\t'));
}

}  // namespace

SummaryComparison::SummaryComparison(const std::string& path) : path(path) {
    try {
        lines = std::make_unique<Common::LineReader>(path, kBlock, kLongestLine);
        std::string_view line;
        if (lines->Next(line) && line == Header()) {
            return;
        }
        findings.push_back(path + ": the first line is not the header of a summary");
    } catch (const std::system_error& error) {
        findings.push_back(path + ": " + error.code().message());
    } catch (const std::length_error&) {
        findings.push_back(path + ": the first line is not the header of a summary");
    }
    lines.reset();
}

bool SummaryComparison::NextRow() {
    if (at_end) {
        return false;
    }
    try {
        std::string_view line;
        if (lines->Next(line)) {
            const auto tab = std::min(line.find('\t'), line.size());
            name = line.substr(0, tab);
            cells = line.substr(tab);
            ++rows;
            return true;
        }
        if (const auto half = lines->HalfLine(); !half.empty()) {
            findings.push_back(path + ": the last row is cut short");
            half_row = half.substr(0, half.find('\t'));
        }
    } catch (const std::system_error& error) {
        AddUnreadable(error.code().message());
    } catch (const std::length_error&) {
        AddUnreadable("64 MiB or longer");
    }
    at_end = true;
    return false;
}

void SummaryComparison::AddUnreadable(const std::string& reason) {
    findings.push_back(path + ": line " + std::to_string(lines->LineNumber()) + " cannot be read: " + reason);
    gaps = true;
    unreadable = true;
}

void SummaryComparison::SkipRows(std::uint64_t count) {
    gaps = true;
    while (count > 0 && lines && NextRow()) {
        --count;
    }
}

void SummaryComparison::Expect(std::string_view expected_name, std::string_view expected, std::string_view other) {
    if (!lines) {
        return;
    }
    const bool found = NextRow();
    if (unreadable && !balance.Knows(expected_name)) {
        return;  // Its row may follow the unreadable line.
    }
    if (found && name == expected_name && (cells == expected || (!other.empty() && cells == other))) {
        return;  // The usual case, because the rows are in the order of the SAM records.
    }
    balance.Expect(expected_name, expected, 0, other);
    if (found) {
        balance.Find(name, cells, lines->LineNumber());
    }
}

std::vector<std::string> SummaryComparison::Finish(const std::set<std::string>& reported,
                                                   std::optional<std::uint64_t> logged) {
    if (!lines) {
        return findings;
    }
    while (NextRow()) {
        balance.Find(name, cells, lines->LineNumber());
    }
    if (gaps && !unreadable && logged && rows != *logged) {
        findings.push_back(path + ": " + Plural(rows, "row") + " for " + Plural(*logged, "logged read"));
    }
    if (balance.Overflowed()) {
        findings.push_back(path + ": its rows and the SAM records belong to different reads");
    } else {
        AddDifferences(reported);
    }
    return findings;
}

void SummaryComparison::AddDifferences(const std::set<std::string>& reported) {
    using Kind = ReadBalance::Difference::Kind;
    auto differences = balance.Differences();
    std::erase_if(differences, [&](const auto& difference) {
        return reported.count(difference.name) != 0 || difference.name == half_row ||
               (gaps && difference.kind == Kind::surplus) || (unreadable && difference.kind == Kind::missing);
    });
    for (const auto& [kind, noun, rest] :
         {std::tuple(Kind::altered, "more row", "with values that differ from the SAM records"),
          std::tuple(Kind::surplus, "more row", "without a SAM record"),
          std::tuple(Kind::missing, "more read", "without a row")}) {
        for (const auto& text : ReadBalance::Word(
                 differences, kind, [this](const auto& difference) { return Describe(difference); }, noun, rest)) {
            findings.push_back(path + ": " + text);
        }
    }
}

std::string SummaryComparison::Describe(const ReadBalance::Difference& difference) const {
    using Kind = ReadBalance::Difference::Kind;
    const auto read = "read '" + difference.name + "'";
    if (difference.kind == Kind::missing) {
        return "no row for " + read;
    }
    const auto line = "line " + std::to_string(difference.line) + ": ";
    if (difference.kind == Kind::surplus) {
        return line + read + " has no SAM record";
    }
    const auto columns = 1 + std::count(difference.found.begin(), difference.found.end(), '\t');
    if (columns != std::ptrdiff_t{Common::kSummaryColumns.size()}) {
        return line + Plural(static_cast<std::uint64_t>(columns), "column") + " instead of 13";
    }
    std::size_t column = 1;
    while (Cell(difference.found, column) == Cell(difference.expected, column)) {
        ++column;
    }
    return line + std::string(Common::kSummaryColumns.at(column)) + " of " + read + " is '" +
           std::string(Cell(difference.found, column)) + "'; its SAM record gives '" +
           std::string(Cell(difference.expected, column)) + "'";
}

}  // namespace Checks
