#pragma once

#include <string>
#include <string_view>

namespace Reports {

/// The page as one self-contained HTML file, with style, script and chart library. `data` is JSON without "<", as
/// PageData returns it.
std::string Page(const std::string& title, std::string_view data);

}  // namespace Reports
