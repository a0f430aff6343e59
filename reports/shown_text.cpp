#include "reports/shown_text.h"

#include <algorithm>

namespace Reports {

std::string Shown(std::string_view text) {
    constexpr std::size_t kLongest = 40;
    std::string shown(text.substr(0, kLongest));
    std::replace_if(
        shown.begin(), shown.end(), [](unsigned char letter) { return letter < ' ' || letter > '~'; }, '?');
    return "'" + shown + (text.size() > kLongest ? "...'" : "'");
}

}  // namespace Reports
