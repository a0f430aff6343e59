#pragma once

#include <string>
#include <string_view>

namespace Reports {

/// The page as one HTML file that needs nothing else: style, script and charts library are in it. `data` is JSON
/// without "<", as PageData makes it.
std::string Page(const std::string& title, std::string_view data);

}  // namespace Reports
