#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Reports {

/// Text from a file for a message: in quotes, cut to 40 bytes, with "?" for each byte that is not printable ASCII.
std::string Shown(std::string_view text);

/// A message from a log file, as shown on a terminal: cut to 300 bytes, with "?" for each byte that is not printable
/// ASCII.
std::string ShownMessage(std::string_view text);

/// "1 read", "2 reads".
std::string Counted(std::uint64_t count, std::string_view noun);

/// Numbers the names that equal an earlier one, "x (2)" after "x", so that no two are equal.
void NumberEqual(std::vector<std::string>& names);

/// A time in one or two units: "8 ms", "12.0 s", "3 min 20 s", "2 h 5 min".
std::string Duration(std::uint64_t milliseconds);

}  // namespace Reports
