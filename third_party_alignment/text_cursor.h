#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace ThirdPartyAlignment {

/// Reads a text by the rules of formatted stream extraction, but without the cost of a stream and without copying. Any
/// white space, including line ends, separates words. After a failed extraction, nothing more is extracted. The text
/// must outlive the cursor and the views that the cursor returns.
class TextCursor {
public:
    explicit TextCursor(std::string_view text)
        : position(text.data()), begin(text.data()), end(text.data() + text.size()) {}

    /// True if no characters are left.
    bool AtEnd() const { return position == end; }
    /// Number of characters extracted so far.
    std::size_t Offset() const { return static_cast<std::size_t>(position - begin); }
    bool Failed() const { return failed; }
    /// True if no extraction has failed and the next character is `c`.
    bool NextIs(char c) const { return !failed && position != end && *position == c; }

    /// Returns the next word. If no word is left, the cursor fails, and the view is empty.
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

    /// Reads a decimal number with an optional sign into `value` and stops after its digits. The cursor fails in three
    /// cases:
    /// - only white space is left: `value` stays unchanged;
    /// - the next word does not begin with a number: `value` becomes 0;
    /// - the number does not fit into 32 bits: `value` becomes the nearest number that does.
    void Number(std::int32_t& value);

    /// Extracts one character, even if it is white space. Returns false and extracts nothing at the end or after a
    /// failure.
    bool Character(char& c) {
        if (failed || position == end) {
            return false;
        }
        c = *position++;
        return true;
    }

    /// Skips to the start of the next line or, from the last line, to the end of the text. Fails if the cursor is
    /// already at the end.
    void SkipLine();

private:
    static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    // Returns false only if all eight characters have codes above 32, so that none of them is white space.
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
