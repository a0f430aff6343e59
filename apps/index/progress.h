#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace Indexing {

/// If standard error is a terminal, shows one line on it: what the program is doing, and the time since construction. A
/// thread that blocks all signals updates the line. The destructor erases the line.
class Progress {
public:
    /// `quiet`: show nothing. `what` returns the text of the line without the time. It is called on another thread.
    Progress(bool quiet, std::function<std::string()> what);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    double Seconds() const;

private:
    void Show();

    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    const std::function<std::string()> what;
    std::mutex mutex;
    std::condition_variable changed;
    bool ended = false;  // Guarded by the mutex.
    std::thread shower;  // Not running if nothing is shown.
};

}  // namespace Indexing
