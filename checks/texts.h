#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Checks {

/// "1 read", "2 reads".
std::string Plural(std::uint64_t count, const std::string& noun);

/// A message on one line, without terminal control sequences; the middle of a long one is left out.
std::string OneLine(std::string_view text);

/// Like OneLine, but not shortened.
std::string Printable(std::string_view text);

}  // namespace Checks
