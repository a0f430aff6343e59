#include "third_party_alignment/text_cursor.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>

namespace ThirdPartyAlignment {

void TextCursor::Number(std::int32_t& value) {
    if (!SkipBlanks()) {
        return;
    }
    const bool negative = *position == '-';
    if (negative || *position == '+') {
        ++position;
    }
    // The digits are parsed in 64 bits without the sign, so that the lowest 32-bit number fits too.
    const char* const digits = position;
    while (position != end && *position >= '0' && *position <= '9') {
        ++position;
    }
    std::int64_t magnitude = 0;
    const auto [_, error] = std::from_chars(digits, position, magnitude);
    if (error == std::errc::invalid_argument) {
        value = 0;
        failed = true;
        return;
    }
    using Limits = std::numeric_limits<std::int32_t>;
    const std::int64_t number = negative ? -magnitude : magnitude;
    if (error == std::errc::result_out_of_range || number < Limits::min() || number > Limits::max()) {
        value = negative ? Limits::min() : Limits::max();
        failed = true;
        return;
    }
    value = static_cast<std::int32_t>(number);
}

void TextCursor::SkipLine() {
    if (failed || position == end) {
        failed = true;
        return;
    }
    const void* const line_feed = std::memchr(position, '\n', static_cast<std::size_t>(end - position));
    position = line_feed != nullptr ? static_cast<const char*>(line_feed) + 1 : end;
}

}  // namespace ThirdPartyAlignment
