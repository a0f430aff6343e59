#include "checks/texts.h"

#include <algorithm>

namespace Checks {

namespace {

constexpr std::size_t kLongest = 300;
constexpr std::size_t kHead = 200;
constexpr std::size_t kTail = 90;

bool IsControl(unsigned char letter) {
    return letter < ' ' || letter == 0x7F;
}

bool ContinuesLetter(unsigned char byte) {  // A continuation byte of UTF-8.
    return (byte & 0xC0U) == 0x80;
}

}  // namespace

std::string Plural(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string_view Head(std::string_view text, std::size_t size) {
    if (size >= text.size()) {
        return text;
    }
    constexpr std::size_t kMostContinued = 3;  // A character in UTF-8 has at most this many continuation bytes.
    auto end = size;
    while (end > 0 && size - end < kMostContinued && ContinuesLetter(static_cast<unsigned char>(text[end]))) {
        --end;
    }
    return text.substr(0, end);
}

std::string Printable(std::string_view text) {
    std::string shown(text);
    std::replace_if(shown.begin(), shown.end(), IsControl, '?');
    return shown;
}

std::string OneLine(std::string_view text) {
    std::string line;
    bool blank = false;
    for (const char letter : text) {
        if (letter == ' ' || letter == '\n' || letter == '\t' || letter == '\r') {
            blank = !line.empty();
            continue;
        }
        line.append(blank ? " " : "").push_back(letter);
        blank = false;
    }
    if (line.size() > kLongest) {
        auto tail = line.size() - kTail;
        while (tail < line.size() && ContinuesLetter(static_cast<unsigned char>(line[tail]))) {
            ++tail;
        }
        line = std::string(Head(line, kHead)) + " ... " + line.substr(tail);
    }
    return Printable(line);
}

}  // namespace Checks
