#include "checks/sam_file.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <system_error>

#include "checks/sequence_digest.h"

namespace Checks {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 18U;  // Small enough to stay in the cache.
constexpr std::size_t kLongestLine = std::size_t{2} << 30U;

constexpr std::string_view kName = "@SQ\tSN:";
constexpr std::string_view kLength = "\tLN:";

}  // namespace

void SamHeaders::Read(const std::string& lines) {
    auto new_digest = DigestOf(lines);
    if (new_digest == digest) {
        return;
    }
    digest.clear();
    references.clear();
    std::size_t number = 1;
    for (std::size_t start = 0; start < lines.size(); ++number) {
        const auto end = lines.find('\n', start);
        const auto line = std::string_view(lines).substr(start, end - start);
        const auto length = line.rfind(kLength);
        std::int64_t bases = 0;
        const char* const last = line.data() + line.size();
        if (!line.starts_with(kName) || length == std::string_view::npos || length <= kName.size() ||
            std::from_chars(line.data() + length + kLength.size(), last, bases).ptr != last || bases <= 0) {
            throw std::runtime_error("line " + std::to_string(number) + ": not an @SQ line");
        }
        auto& known = references[std::string(line.substr(kName.size(), length - kName.size()))];
        known = std::max(known, bases);
        start = end + 1;
    }
    digest = std::move(new_digest);
}

SamFile::SamFile(const std::string& path, SamHeaders& headers) : headers(headers) {
    try {
        lines = std::make_unique<Common::LineReader>(path, kBlock, kLongestLine);
        std::string header;
        bool more = NextLine();
        for (; more && line.starts_with('@'); more = NextLine()) {
            header.append(line).append("\n");
        }
        if (header.empty()) {
            throw std::runtime_error("it has no @SQ lines");
        }
        headers.Read(header);
        if (more) {
            Parse();
        }
    } catch (const std::system_error& error) {
        throw std::runtime_error(error.code().message());
    }
}

void SamFile::Refuse(const std::string& reason) const {
    throw std::runtime_error("line " + std::to_string(lines->LineNumber()) + ": " + reason);
}

bool SamFile::NextLine() {
    try {
        return lines->Next(line);
    } catch (const std::length_error&) {
        Refuse("2 GiB or longer");
    }
}

void SamFile::Parse() {
    try {
        record = SamRecord::Parse(line, headers.References());
    } catch (const std::runtime_error& error) {
        Refuse(error.what());
    }
    pending = true;
}

bool SamFile::NextRecord() {
    if (!pending && NextLine()) {
        Parse();
    }
    if (!pending && !lines->HalfLine().empty()) {
        Refuse("cut short");
    }
    return pending;
}

bool SamFile::Next(SamRead& read) {
    try {
        if (!NextRecord()) {
            return false;
        }
        TakeFirst(read);
        while (NextRecord() && record.IsFurther()) {
            TakeFurther();
        }
    } catch (const std::system_error& error) {
        throw std::runtime_error(error.code().message());
    }
    if (supplementary_due != 0) {
        throw std::runtime_error("read '" + name + "' has more or fewer supplementary records than its tag SA lists");
    }
    return true;
}

void SamFile::TakeFirst(SamRead& read) {
    pending = false;
    if (record.IsFurther()) {
        Refuse("a secondary or supplementary record of a read without a first record");
    }
    name = record.name;
    supplementary_due = std::count(record.other_supplementary.begin(), record.other_supplementary.end(), ';');
    read.name = name;
    read.cells = SummaryCells(record);
    read.line = lines->LineNumber();
    read.digest.clear();
    if (record.sequence == "*") {
        sequence.clear();
        return;
    }
    if (!record.IsReverse() && supplementary_due == 0) {
        read.digest = DigestOf(record.sequence);
        return;
    }
    sequence = record.sequence;
    if (record.IsReverse()) {
        ReverseComplement(sequence);
    }
    read.digest = DigestOf(sequence);
}

void SamFile::TakeFurther() {
    pending = false;
    if (record.name != name) {
        Refuse("a secondary or supplementary record that does not follow a record of its read");
    }
    if (!record.IsSupplementary()) {
        return;
    }
    --supplementary_due;
    auto part = std::string(record.sequence);
    auto clip = record.leading_clip;
    if (record.IsReverse()) {
        ReverseComplement(part);
        clip = static_cast<std::int64_t>(sequence.size()) - clip - static_cast<std::int64_t>(part.size());
    }
    if (clip < 0 || clip > static_cast<std::int64_t>(sequence.size()) ||
        sequence.compare(static_cast<std::size_t>(clip), part.size(), part) != 0) {
        Refuse("SEQ is not the part of the read that CIGAR leaves unclipped");
    }
}

}  // namespace Checks
