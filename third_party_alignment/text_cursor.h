#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace ThirdPartyAlignment {

/// Reads a text by the rules of formatted stream extraction, without a stream's cost and without copying: any white
/// space, including line ends, separates words, and after a failed extraction nothing more is extracted. The text is
/// borrowed and must outlive the cursor and the views it returns.
class TextCursor {
public:
    explicit TextCursor(std::string_view text)
        : position(text.data()), begin(text.data()), end(text.data() + text.size()) {}

    /// True when no characters are left.
    bool AtEnd() const { return position == end; }
    /// Number of characters extracted so far.
    std::size_t Offset() const { return static_cast<std::size_t>(position - begin); }
    /// True when an extraction has failed.
    bool Failed() const { return failed; }
    /// True when the next character is `c`.
    bool NextIs(char c) const { return !failed && position != end && *position == c; }

    /// The next word. If there is none, returns an empty view, and the cursor has failed.
    std::string_view Word() {
        if (!SkipBlanks()) {
            return {};
        }
        const char* const word = position;
        while (end - position >= 8 && !MayHaveBlank(position)) {
            position += 8;
        }
        while (position != end && !IsBlank(*position)) {
            ++position;
        }
        return {word, static_cast<std::size_t>(position - word)};
    }

    /// Reads a decimal number with an optional sign into `value` and stops after its digits. Without digits the value
    /// becomes 0, beyond 32 bits the nearest limit; the cursor has then failed. If no text is left, the value stays
    /// unchanged.
    void Number(std::int32_t& value);

    /// Extracts one character, even a blank. Returns false and extracts nothing at the end or after a failure.
    bool Character(char& c) {
        if (failed || position == end) {
            return false;
        }
        c = *position++;
        return true;
    }

    /// Skips to the start of the next line; if the text ends first, the cursor has failed.
    void SkipLine();

private:
    static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    // False if none of eight characters is a blank or another one with a code of 32 or less.
    static bool MayHaveBlank(const char* characters) {
        constexpr std::uint64_t kOnes = 0x0101010101010101;
        std::uint64_t eight = 0;
        std::memcpy(&eight, characters, sizeof eight);
        return ((eight - kOnes * 33) & ~eight & kOnes * 128) != 0;
    }

    bool SkipBlanks() {
        while (!failed && position != end && IsBlank(*position)) {
            ++position;
        }
        failed = failed || position == end;
        return !failed;
    }

    const char* position;
    const char* begin;
    const char* end;
    bool failed = false;
};

}  // namespace ThirdPartyAlignment
