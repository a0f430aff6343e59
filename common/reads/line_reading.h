#pragma once

#include <istream>
#include <string>

namespace Common {

/// Reads one line into `line`, without its line feed or one carriage return before that. Returns false, with `line`
/// unspecified, when the stream was already at its end. A last line without a line feed counts as a line, and so does
/// the empty text after a final line feed. If the device fails and the stream's exception mask has badbit, the
/// exception passes through; otherwise `line` holds what was read before, and the stream is bad.
bool ReadLine(std::istream& stream, std::string& line);

}  // namespace Common
