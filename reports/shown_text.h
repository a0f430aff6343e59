#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Reports {

/// Text of a file as a message shows it: in quotes, 40 characters at most, and without what a terminal takes for a
/// command.
std::string Shown(std::string_view text);

/// A message of a log file for a terminal: in one line, 300 characters at most, and without what a terminal takes for a
/// command.
std::string ShownMessage(std::string_view text);

/// "1 read", "2 reads".
std::string Counted(std::uint64_t count, std::string_view noun);

/// A time in one or two units: "8 ms", "12.0 s", "3 min 20 s", "2 h 5 min".
std::string Duration(std::uint64_t milliseconds);

}  // namespace Reports
