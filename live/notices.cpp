#include "live/notices.h"

#include <algorithm>
#include <cstddef>

namespace Live {

namespace {

// For each kind of event, this many files are named. If there is only one more, it is named too, because a line that
// counts it would not be shorter.
constexpr std::size_t kMostNamed = 3;

// The rest of a line that begins with "17 more files".
std::string Summary(Notices::Event event) {
    switch (event) {
        case Notices::Event::beside:
            return " are aligned separately from other files, although they may be the same files in another form";
        case Notices::Event::changed:
            return " changed after they were aligned; the output keeps their former reads";
        case Notices::Event::renamed:
            return " were renamed after they were aligned; the output keeps the former names";
        case Notices::Event::other_form:
            return " were compressed or decompressed after they were aligned; the output keeps the former names";
        case Notices::Event::disappeared:
            return " disappeared after they were aligned; the output keeps their reads";
        case Notices::Event::disappeared_unaligned:
            return " disappeared before they were aligned";
    }
    return "";
}

}  // namespace

void Notices::Add(Event event, const std::string& text) {
    texts[event].push_back(text);
}

std::vector<std::string> Notices::Texts() const {
    std::vector<std::string> all;
    for (const auto& [event, of_event] : texts) {
        const auto named = of_event.size() == kMostNamed + 1 ? of_event.size() : std::min(of_event.size(), kMostNamed);
        all.insert(all.end(), of_event.begin(), of_event.begin() + static_cast<std::ptrdiff_t>(named));
        if (const auto others = of_event.size() - named; others > 0) {
            all.push_back(std::to_string(others) + " more files" + Summary(event));
        }
    }
    return all;
}

}  // namespace Live
