#include "reports/page.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "reports/page_data.h"
#include "reports/page_files.h"

namespace Reports {

namespace {

constexpr std::size_t kLongestTitle = 400;

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        switch (letter) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += letter;
        }
    }
    return escaped;
}

}  // namespace

std::string Page(const std::string& title, std::string_view data) {
    const auto title_text = Escaped(ForPage(title, kLongestTitle));
    // In the order in which the page contains the marks, so that inserted text is never searched for a mark.
    const std::array<std::pair<std::string_view, std::string_view>, 6> parts = {
        {{"@TITLE@", title_text},
         {"@STYLE@", PageFiles::kStyle},
         {"@DATA@", data},
         {"@LICENCE@", PageFiles::kChartLicence},
         {"@CHART@", PageFiles::kChart},
         {"@SCRIPT@", PageFiles::kScript}}};
    std::string page;
    std::string_view rest = PageFiles::kPage;
    for (const auto& [mark, content] : parts) {
        const auto place = rest.find(mark);
        if (place == std::string_view::npos) {
            throw std::logic_error("the page has no place for " + std::string(mark));
        }
        page.append(rest.substr(0, place)).append(content);
        rest.remove_prefix(place + mark.size());
    }
    return page.append(rest);
}

}  // namespace Reports
