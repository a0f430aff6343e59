#pragma once

#include <cstdint>
#include <string_view>

namespace ThirdPartyAlignment {

/// Walks a text with the rules of formatted stream extraction (blanks of any kind, line ends included,
/// separate words; after a failed extraction nothing more is taken), without a stream's cost and without
/// copying. The text is borrowed and must outlive the cursor and the views that it returns.
class TextCursor {
public:
    explicit TextCursor(std::string_view text)
        : position(text.data()), begin(text.data()), end(text.data() + text.size()) {}

    /// True when all characters have been taken.
    bool AtEnd() const { return position == end; }
    /// Characters taken so far.
    std::size_t Offset() const { return static_cast<std::size_t>(position - begin); }
    /// True when an extraction has failed.
    bool Failed() const { return failed; }
    /// True when the next character is `c`.
    bool NextIs(char c) const { return !failed && position != end && *position == c; }

    /// The next word; empty, and failed from then on, when there is none.
    std::string_view Word() {
        if (!SkipBlanks()) {
            return {};
        }
        const char* const word = position;
        while (position != end && !IsBlank(*position)) {
            ++position;
        }
        return {word, static_cast<std::size_t>(position - word)};
    }

    /// Reads a decimal number with an optional sign into `value` and leaves what follows its digits. Without
    /// digits the value becomes 0, beyond 32 bits the nearest limit, and the cursor has failed; with nothing
    /// left the value stays as it is.
    void Number(std::int32_t& value);

    /// Takes one character, a blank too. Returns false, taking nothing, at the end or after a failure.
    bool Character(char& c) {
        if (failed || position == end) {
            return false;
        }
        c = *position++;
        return true;
    }

    /// Skips to the start of the next line; at the end of the text the cursor has failed.
    void SkipLine();

private:
    static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

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
