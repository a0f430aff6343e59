#pragma once

#include <istream>
#include <string>

namespace Common {

/// Reads one line into `line`, without its line feed and without a carriage return at its end. Returns false if the
/// stream was already at its end. A last line without a line feed counts as a line, and so does the empty text after a
/// final line feed. An exception of the stream's device passes through if the stream's exception mask contains badbit.
/// If the mask lacks badbit, `line` contains what was read before the failure, and the stream is bad.
bool ReadLine(std::istream& stream, std::string& line);

}  // namespace Common
