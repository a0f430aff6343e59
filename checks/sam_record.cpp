#include "checks/sam_record.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

namespace Checks {

namespace {

[[noreturn]] void Refuse(const std::string& reason) {
    throw std::runtime_error(reason);
}

std::int64_t Number(std::string_view text, const char* what) {
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || rest != text.data() + text.size() || number > INT32_MAX || number < INT32_MIN) {
        Refuse(std::string(what) + " is not a number");
    }
    return number;
}

// The loop has no early exit, so that the compiler can test many characters at a time.
bool IsPrintable(std::string_view text) {
    unsigned bad = 0;
    for (const char letter : text) {
        bad |= static_cast<unsigned char>(letter - ' ') > '~' - ' ' && letter != '\t' ? 1U : 0U;
    }
    return bad == 0;
}

// Columns 2 to 11, then the tags as one text.
std::array<std::string_view, 11> Columns(std::string_view rest) {
    std::array<std::string_view, 11> columns;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const auto tab = i + 1 < columns.size() ? rest.find('\t') : std::string_view::npos;
        columns.at(i) = rest.substr(0, tab);
        if (tab == std::string_view::npos) {
            if (i + 2 < columns.size()) {
                Refuse(std::to_string(i + 2) + " columns instead of 11 or more");
            }
            break;
        }
        rest.remove_prefix(tab + 1);
    }
    return columns;
}

}  // namespace

SamRecord SamRecord::Parse(std::string_view line, const ReferenceLengths& references) {
    SamRecord record;
    const auto tab = std::min(line.find('\t'), line.size());
    record.name = line.substr(0, tab);
    const auto rest = line.substr(std::min(tab + 1, line.size()));
    // A name may contain any byte except NUL, because the aligner copies names unchanged, as C strings.
    if (record.name.find('\0') != std::string_view::npos || !IsPrintable(rest)) {
        Refuse("a byte that is not allowed in a SAM record");
    }
    if (record.name.empty()) {
        Refuse("a record without a name");
    }
    const auto [flag, rname, pos, mapq, cigar, rnext, pnext, tlen, seq, qual, tags] = Columns(rest);
    record.flag = static_cast<std::uint32_t>(Number(flag, "FLAG"));
    record.reference = rname;
    record.position = Number(pos, "POS");
    record.sequence = seq;
    if (record.flag != 4 && (record.flag & ~0x910U) != 0) {
        Refuse("FLAG is " + std::to_string(record.flag));
    }
    const auto quality = Number(mapq, "MAPQ");
    if (quality < 0 || quality > 255 || rnext != "*" || pnext != "0" || tlen != "0" || qual != "*" || seq.empty()) {
        Refuse("values that the aligner does not write");
    }
    record.ReadTags(tags);
    if (record.IsMapped()) {
        record.ReadCigar(cigar);
        record.CheckMapped(references);
    } else if (rname != "*" || record.position != 0 || cigar != "*") {
        Refuse("an unmapped record with a position");
    }
    return record;
}

void SamRecord::ReadCigar(std::string_view cigar) {
    bool first = true;
    for (const char* cursor = cigar.data(); cursor != cigar.data() + cigar.size(); first = false) {
        std::int64_t length = 0;
        const char* const digits = cursor;
        for (; cursor != cigar.data() + cigar.size() && *cursor >= '0' && *cursor <= '9'; ++cursor) {
            length = std::min<std::int64_t>(length * 10 + (*cursor - '0'), INT32_MAX);
        }
        if (cursor == digits || cursor == cigar.data() + cigar.size()) {
            Refuse("CIGAR is malformed");
        }
        switch (*cursor++) {
            case 'M':
                aligned += length;
                break;
            case 'I':
                insertions += length;
                break;
            case 'D':
                deletions += length;
                break;
            case 'S':
                soft_clips += length;
                [[fallthrough]];
            case 'H':
                leading_clip = first ? length : leading_clip;
                break;
            default:
                Refuse("CIGAR has an operation other than H, S, I, D and M");
        }
    }
}

void SamRecord::ReadTags(std::string_view tags) {
    bool has_edit_distance = false;
    bool has_score = false;
    while (!tags.empty()) {
        const auto tab = tags.find('\t');
        const auto tag = tags.substr(0, tab);
        if (tag.size() < 6 || tag[2] != ':' || tag[4] != ':' ||
            (tab != std::string_view::npos && tab + 1 == tags.size())) {
            Refuse("a malformed tag");
        }
        const auto value = tag.substr(5);
        if (tag.starts_with("NM:")) {
            edit_distance = Number(value, "NM");
            has_edit_distance = true;
        } else if (tag.starts_with("AS:")) {
            score = Number(value, "AS");
            has_score = true;
        } else if (tag.starts_with("SA:")) {
            other_supplementary = value;
        }
        tags.remove_prefix(tab == std::string_view::npos ? tags.size() : tab + 1);
    }
    if (IsMapped() && (!has_edit_distance || !has_score)) {
        Refuse("a mapped record without NM or AS");
    }
}

void SamRecord::CheckMapped(const ReferenceLengths& references) const {
    const auto known = references.find(std::string(reference));
    if (known == references.end()) {
        Refuse("no @SQ line names its reference sequence");
    }
    if (position < 1 || position + aligned + deletions - 1 > known->second) {
        Refuse("the alignment lies outside its reference sequence");
    }
    const auto size = static_cast<std::int64_t>(sequence.size());
    const bool none = sequence == "*";
    if (none ? !IsFurther() : aligned + insertions + soft_clips != size) {
        Refuse("CIGAR and SEQ have different lengths");
    }
}

std::string SummaryCells(const SamRecord& first) {
    if (!first.IsMapped()) {
        return std::string(kUnmappedCells);
    }
    const auto correct = first.aligned - first.edit_distance + first.deletions + first.insertions;
    const auto all = first.aligned + first.deletions + first.insertions;
    std::string cells("\t");
    cells.append(first.reference).append(first.IsReverse() ? "_rc" : "");
    std::array<char, 32> text{};
    const auto append = [&cells, &text](auto number, auto... format) {
        const auto result = std::to_chars(text.data(), text.data() + text.size(), number, format...);
        cells.append("\t").append(text.data(), result.ptr);
    };
    for (const auto number : {first.position, first.position + first.aligned + first.deletions, first.leading_clip,
                              first.leading_clip + first.aligned + first.insertions, first.insertions, first.deletions,
                              first.aligned, correct}) {
        append(number);
    }
    // The aligner computes identity and accuracy in single precision and writes six significant digits.
    append(static_cast<float>(correct) / static_cast<float>(first.aligned), std::chars_format::general, 6);
    append(static_cast<float>(correct) / static_cast<float>(all), std::chars_format::general, 6);
    append(first.score);
    return cells;
}

}  // namespace Checks
