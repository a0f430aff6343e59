#include "third_party_alignment/sam_handler.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "common/logging/record.h"
#include "third_party_alignment/sam_header.h"
#include "third_party_alignment/text_cursor.h"

namespace ThirdPartyAlignment {

namespace {

constexpr std::int32_t kReverseStrand = 0x10;

// Adds modulo 2^32, because the numbers come from untrusted text, and signed overflow is undefined.
std::int32_t Sum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t Difference(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

struct AlignmentLine {
    std::int32_t flag = 0;
    std::string_view cigar;
    std::string_view seq;
};

// Reads columns 1 to 11. A missing column leaves its member unchanged.
AlignmentLine ReadColumns(TextCursor& cursor, AlignmentResult& result) {
    AlignmentLine line;
    std::int32_t unused = 0;
    cursor.Word();  // QNAME
    cursor.Number(line.flag);
    if (const auto rname = cursor.Word(); !rname.empty()) {
        result.genome = rname;
    }
    cursor.Number(result.genome_start);
    cursor.Number(unused);  // MAPQ
    line.cigar = cursor.Word();
    cursor.Word();          // RNEXT
    cursor.Number(unused);  // PNEXT
    cursor.Number(unused);  // TLEN
    line.seq = cursor.Word();
    cursor.Word();  // QUAL
    return line;
}

// Adds the columns SEQ and QUAL, which this unmapped record lacks, before the line feed at the end of the SAM text.
void CompleteUnmappedRecord(std::string& record) {
    if (!record.empty() && record.back() == '\n') {
        record.pop_back();
        record += "\t*\t*\n";
    } else {
        TAVIK_LOG(verbose) << "Attempted to fix invalid SAM but format not as expected";
    }
}

// The value of an optional field as text, or nothing if the record lacks the field.
using FieldText = std::optional<std::string_view>;

// The optional fields after column 11 that the result needs: NM and AS. If several fields have the same tag, the last
// one counts.
struct OptionalFields {
    FieldText edit_distance;
    FieldText score;
};

OptionalFields ReadOptionalFields(TextCursor& cursor) {
    OptionalFields fields;
    while (true) {
        char separator = '\0';
        if (!cursor.Character(separator) && cursor.AtEnd()) {
            return fields;
        }
        if (separator == '\n' || separator == '\r') {
            return fields;
        }
        const auto token = cursor.Word();
        if (token.size() < 5 || token[2] != ':' || token[4] != ':') {
            throw std::runtime_error("optional SAM field '" + std::string(token) + "' could not be parsed.");
        }
        if (token.starts_with("NM")) {
            fields.edit_distance = token.substr(5);
        } else if (token.starts_with("AS")) {
            fields.score = token.substr(5);
        }
    }
}

std::int32_t Integer(const FieldText& text) {
    if (!text) {
        // Deliberately the text of the exception that std::map::at throws in libstdc++.
        throw std::out_of_range("map::at");
    }
    return std::stoi(std::string(*text));
}

}  // namespace

AlignmentResult SamHandler::Parse(std::string&& sam, int query_length) {
    AlignmentResult result;
    result.sam_record = std::move(sam);
    const auto header = SamHeader::Of(result.sam_record);
    ReadRecord(*header, header->Size(), query_length, result);
    return result;
}

AlignmentResult SamHandler::ParseLines(const SamHeader& header, std::string&& lines, int query_length) {
    AlignmentResult result;
    result.sam_record = std::move(lines);
    ReadRecord(header, 0, query_length, result);
    return result;
}

// `record`: offset of the first record in `result.sam_record`.
void SamHandler::ReadRecord(const SamHeader& header, std::size_t record, int query_length, AlignmentResult& result) {
    TextCursor cursor(std::string_view(result.sam_record).substr(record));
    const auto line = ReadColumns(cursor, result);

    if (result.genome == "*") {
        result.genome_start = -1;
        if (line.seq.empty()) {
            CompleteUnmappedRecord(result.sam_record);
        }
        return;
    }

    const auto fields = ReadOptionalFields(cursor);
    ParseCigar(std::string(line.cigar), result);
    const auto reference_length = header.ReferenceLength(result.genome);
    result.coverage = static_cast<float>(result.num_aligned) /
                      static_cast<float>(std::min<std::int32_t>(reference_length, query_length));
    result.strand_end = Sum(Sum(result.num_aligned, result.strand_start), result.num_insertions);
    result.num_events = static_cast<std::int32_t>(line.seq.size());
    result.genome_end = Sum(Sum(result.genome_start, result.num_aligned), result.num_deletions);

    // NM is the number of mismatches, inserted bases and deleted bases (SAMtags, the SAM project's list of tags).
    const auto edit_distance = Integer(fields.edit_distance);
    result.num_correct =
        Sum(Sum(Difference(result.num_aligned, edit_distance), result.num_deletions), result.num_insertions);
    const auto columns = Sum(Sum(result.num_aligned, result.num_deletions), result.num_insertions);
    result.identity = static_cast<float>(result.num_correct) / static_cast<float>(result.num_aligned);
    result.accuracy = static_cast<float>(result.num_correct) / static_cast<float>(columns);
    result.strand_score = Integer(fields.score);

    // Only the suffix of the reference name shows the strand. The coordinates deliberately remain those of the SAM
    // record.
    if ((line.flag & kReverseStrand) != 0) {
        result.genome += "_rc";
    }
}

void SamHandler::ParseCigar(const std::string& cigar, AlignmentResult& result) {
    result.strand_start = 0;
    result.num_insertions = 0;
    result.num_deletions = 0;
    result.num_aligned = 0;

    const char* const begin = cigar.c_str();
    const char* const end = begin + cigar.size();
    for (const char* cursor = begin; cursor != end;) {
        const bool first = cursor == begin;
        const auto [length, operation] = NextCigarOp(cursor);
        switch (operation) {
            case 'H':
            case 'S':
                if (first) {
                    result.strand_start = length;
                }
                break;
            case 'I':
                result.num_insertions = Sum(result.num_insertions, length);
                break;
            case 'D':
                result.num_deletions = Sum(result.num_deletions, length);
                break;
            case 'M':
                result.num_aligned = Sum(result.num_aligned, length);
                break;
            default:
                throw std::runtime_error("Currently only supporting HSIDM in SAM cigar string.");
        }
    }
}

std::pair<std::int32_t, char> SamHandler::NextCigarOp(const char*& cursor) {
    const char* const digits = cursor;
    std::uint32_t length = 0;
    while (*cursor >= '0' && *cursor <= '9') {
        length = length * 10 + static_cast<std::uint32_t>(*cursor - '0');
        ++cursor;
    }
    if (cursor == digits || *cursor == '\0') {
        return {-1, '?'};
    }
    return {static_cast<std::int32_t>(length), *cursor++};
}

}  // namespace ThirdPartyAlignment
