#pragma once

#include <istream>
#include <string>

namespace Common {

/// Reads one line into `line`, without its line feed and without a carriage return at its end. A last line without a
/// line feed counts as a line, and so does the empty text after a final line feed. Returns false if the stream was
/// already at its end.
///
/// If the stream's device throws and the stream's exception mask contains badbit, the exception passes through. If the
/// mask lacks badbit, the stream becomes bad, and `line` contains the text before the failure.
bool ReadLine(std::istream& stream, std::string& line);

}  // namespace Common
