#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Checks {

/// "1 read", "2 reads".
std::string Plural(std::uint64_t count, const std::string& noun);

/// Returns `text` on one line: each run of blanks, tabs and line ends becomes one blank, and every other control
/// character becomes "?". Leaves out white space at both ends, and the middle of a line of more than 300 bytes.
std::string OneLine(std::string_view text);

/// Returns the first `size` bytes of `text`, or all if it has fewer. Leaves out a UTF-8 character that would be cut.
std::string_view Head(std::string_view text, std::size_t size);

/// Returns `text` with each control character replaced by "?".
std::string Printable(std::string_view text);

}  // namespace Checks
