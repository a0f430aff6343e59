#pragma once

#include <string>
#include <unordered_set>

namespace Common {

/// The read ids in a file, one per line. White space around an id, including a carriage return, is removed. A line
/// that is empty or only white space adds the empty id. A line with a blank inside the id is logged as a warning and
/// skipped. Throws std::runtime_error "Could not load readIdWhitelist file: '<path>'" when there is no such file. An
/// existing file that cannot be read counts as empty.
std::unordered_set<std::string> getReadIdWhitelist(const std::string& path);

}  // namespace Common
