#pragma once

#include <istream>
#include <string>

namespace Common {

/// Reads one line into `line`, without its line feed and without one carriage return before it. Returns
/// false, with `line` unspecified, when the stream had reached its end already; a last line without a line
/// feed counts, and so does the empty text after a final line feed. When the device fails, its exception passes
/// through if the stream's exception mask has badbit; if not, `line` is what was read before, and the stream is bad.
bool ReadLine(std::istream& stream, std::string& line);

}  // namespace Common
