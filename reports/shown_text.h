#pragma once

#include <string>
#include <string_view>

namespace Reports {

/// Text of a file as a message shows it: in quotes, 40 characters at most, and without what a terminal takes for a
/// command.
std::string Shown(std::string_view text);

}  // namespace Reports
