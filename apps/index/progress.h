#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace Indexing {

/// A line on standard error, if that is a terminal: what the program does, its progress, and the time since the start.
/// Its thread takes no signals. The destructor erases the line.
class Progress {
public:
    /// `what` is called by another thread.
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
