#pragma once

#include <chrono>

namespace Live {

/// Decides when the page of a run in progress is made again. A page says until when its figures hold. By then, the next
/// one replaces it, however long it takes to make one; and making them takes about 2 % of the time.
class PageTimes {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    /// How long the figures of the page that is made next hold.
    Duration Life() const;

    /// A page was made between these times.
    void Made(Time begin, Time end);

    /// There are rows that the page does not show.
    void NewRows();

    /// When to make a page; the latest time before the first one is wanted.
    Time Due() const { return due; }

private:
    Duration cost{};              // Of the last page.
    Time earliest = Time::min();  // Before that, a page for new rows would cost too much.
    Time due = Time::max();
};

}  // namespace Live
