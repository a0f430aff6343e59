#pragma once

#include <chrono>

namespace Live {

/// Decides when the page of a run in progress is made again. Each page states the time until which its figures are
/// valid, and the next page replaces it before that time. Making the pages takes at most about 2 % of the time.
class PageTimes {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    /// For how long the figures of the next page are valid.
    Duration Life() const;

    /// Call after a page was made between these times.
    void Made(Time begin, Time end);

    /// Call when the summary has rows that the page does not show.
    void NewRows();

    /// When to make the next page; Time::max() if no page has been made and there are no new rows.
    Time Due() const { return due; }

private:
    Duration cost{};              // The time that making the latest page took.
    Time earliest = Time::min();  // No page for new rows is made before this time, because it would cost too much.
    Time due = Time::max();
};

}  // namespace Live
