#include "reports/shown_text.h"

#include <algorithm>
#include <map>
#include <set>

namespace Reports {

namespace {

std::string Printable(std::string_view text, std::size_t longest) {
    std::string shown(text.substr(0, longest));
    std::replace_if(
        shown.begin(), shown.end(), [](unsigned char letter) { return letter < ' ' || letter > '~'; }, '?');
    return text.size() > longest ? shown + "..." : shown;
}

}  // namespace

std::string Shown(std::string_view text) {
    constexpr std::size_t kLongest = 40;
    return "'" + Printable(text, kLongest) + "'";
}

std::string ShownMessage(std::string_view text) {
    constexpr std::size_t kLongest = 300;
    return Printable(text, kLongest);
}

std::string Counted(std::uint64_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

void NumberEqual(std::vector<std::string>& names) {
    std::set<std::string> taken(names.begin(), names.end());
    std::map<std::string, std::uint64_t> times;
    for (auto& name : names) {
        if (auto& number = times[name]; ++number > 1) {
            const auto numbered = [&] { return name + " (" + std::to_string(number) + ")"; };
            while (!taken.insert(numbered()).second) {
                ++number;
            }
            name = numbered();
        }
    }
}

std::string Duration(std::uint64_t milliseconds) {
    if (milliseconds < 1000) {
        return std::to_string(milliseconds) + " ms";
    }
    const auto seconds = milliseconds / 1000;
    if (seconds < 60) {
        return std::to_string(seconds) + "." + std::to_string(milliseconds % 1000 / 100) + " s";
    }
    const auto minutes = seconds / 60;
    if (minutes < 60) {
        return std::to_string(minutes) + " min " + std::to_string(seconds % 60) + " s";
    }
    return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

}  // namespace Reports
