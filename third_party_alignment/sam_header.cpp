#include "third_party_alignment/sam_header.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "third_party_alignment/text_cursor.h"

namespace ThirdPartyAlignment {

namespace {

// In bytes. Shorter headers are parsed each time, which costs less than locking and comparing.
constexpr std::size_t kKeepFrom = 4096;

std::mutex kept_header_mutex;
std::shared_ptr<const SamHeader> kept_header;  // Guarded by kept_header_mutex.

std::string_view WithoutTag(std::string_view field) {
    if (field.size() < 3) {
        throw std::out_of_range("SAM header field '" + std::string(field) + "' is too short.");
    }
    return field.substr(3);
}

// Does the same as std::stoi, but does not copy a text of plain digits, which aligners write.
std::int32_t ToInteger(std::string_view text) {
    std::int32_t value = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && rest == text.data() + text.size()) {
        return value;
    }
    return std::stoi(std::string(text));
}

std::size_t SkipHeaderLines(std::string_view text) {
    std::size_t offset = 0;
    while (offset < text.size() && text[offset] == '@') {
        const auto line_feed = text.find('\n', offset);
        offset = line_feed == std::string_view::npos ? text.size() : line_feed + 1;
    }
    return offset;
}

}  // namespace

std::shared_ptr<const SamHeader> SamHeader::Of(std::string_view text) {
    if (auto known = KeptHeaderOf(text)) {
        return known;
    }
    const std::shared_ptr<SamHeader> header(new SamHeader);
    header->Read(text);
    if (header->whole && header->size >= kKeepFrom && text[header->size - 1] == '\n') {
        auto copy = std::make_shared<const SamHeader>(std::string(text.substr(0, header->size)));
        const std::lock_guard lock(kept_header_mutex);
        kept_header = std::move(copy);
    }
    return header;
}

std::size_t SamHeader::EndOfHeaderLines(std::string_view text) {
    const auto known = KeptHeaderOf(text);
    return known && known->by_line ? known->size : SkipHeaderLines(text);
}

std::int32_t SamHeader::ReferenceLength(std::string_view name) const {
    if (sorted) {
        const auto found = std::lower_bound(references.begin(), references.end(), name,
                                            [](const auto& entry, auto key) { return entry.name < key; });
        return found != references.end() && found->name == name ? found->length : 0;
    }
    const auto found =
        std::find_if(references.rbegin(), references.rend(), [name](const auto& entry) { return entry.name == name; });
    return found != references.rend() ? found->length : 0;
}

void SamHeader::Read(std::string_view text) {
    TextCursor cursor(text);
    while (cursor.NextIs('@')) {
        const auto tag = cursor.Word();
        const auto name_field = cursor.Word();
        const auto length_field = cursor.Word();
        if (tag == "@SQ") {
            const auto length = ToInteger(WithoutTag(length_field));
            references.push_back({WithoutTag(name_field), length});
        }
        cursor.SkipLine();
    }
    size = cursor.Offset();
    whole = !cursor.Failed();
}

SamHeader::SamHeader(std::string text) : kept(std::move(text)) {
    try {
        Read(kept);
    } catch (const std::logic_error&) {
        // The header cannot be read on its own, so StandsAlone stays false. std::bad_alloc is not caught.
        return;
    }
    KeepLastOfEachName();
    by_line = SkipHeaderLines(kept) == kept.size();
    stands_alone = whole && by_line && size == kept.size() && kept.ends_with('\n');
}

void SamHeader::KeepLastOfEachName() {
    // If several lines have the same name, the last line counts. Reversing makes it the first line with this name, and
    // unique keeps the first.
    std::reverse(references.begin(), references.end());
    std::stable_sort(references.begin(), references.end(),
                     [](const auto& a, const auto& b) { return a.name < b.name; });
    references.erase(std::unique(references.begin(), references.end(),
                                 [](const auto& a, const auto& b) { return a.name == b.name; }),
                     references.end());
    sorted = true;
}

bool SamHeader::IsHeaderOf(std::string_view text) const {
    return text.size() >= kept.size() && std::memcmp(text.data(), kept.data(), kept.size()) == 0 &&
           (text.size() == kept.size() || text[kept.size()] != '@');
}

std::shared_ptr<const SamHeader> SamHeader::KeptHeaderOf(std::string_view text) {
    if (text.size() < kKeepFrom || text.front() != '@') {
        return nullptr;
    }
    std::shared_ptr<const SamHeader> known;
    {
        const std::lock_guard lock(kept_header_mutex);
        known = kept_header;
    }
    return known && known->IsHeaderOf(text) ? known : nullptr;
}

}  // namespace ThirdPartyAlignment
