#include "live/page_times.h"

#include <algorithm>

namespace Live {

namespace {

using std::chrono::seconds;

constexpr int kCostShare = 50;
constexpr seconds kInterval{60};
// Spare time before a page expires, because other work may delay the next page.
constexpr seconds kSlack{20};
constexpr seconds kShortestLife{90};

}  // namespace

// The factor 3 / 2 allows for pages that become more costly.
PageTimes::Duration PageTimes::Life() const {
    return std::max<Duration>(kShortestLife, kSlack + kCostShare * cost * 3 / 2);
}

void PageTimes::Made(Time begin, Time end) {
    const auto until = begin + Life();
    cost = end - begin;
    earliest = end + kCostShare * cost;
    due = std::min(std::max<Time>(end + kInterval, earliest), until - kSlack - 2 * cost);
}

void PageTimes::NewRows() {
    due = std::min(due, earliest);
}

}  // namespace Live
