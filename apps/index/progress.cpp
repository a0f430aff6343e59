#include "apps/index/progress.h"

#include <csignal>
#include <cstdint>
#include <iostream>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace Indexing {

Progress::Progress(bool quiet, std::function<std::string()> what) : what(std::move(what)) {
    if (quiet || ::isatty(STDERR_FILENO) != 1) {
        return;
    }
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        shower = std::thread(&Progress::Show, this);
    } catch (const std::system_error&) {
        // The program works without a display.
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Progress::~Progress() {
    {
        const std::lock_guard lock(mutex);
        ended = true;
    }
    changed.notify_one();
    if (shower.joinable()) {
        shower.join();
    }
}

double Progress::Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Progress::Show() {
    constexpr std::chrono::milliseconds kPause{200};
    constexpr char kClearToEnd[] = "\033[K";
    std::unique_lock lock(mutex);
    bool shown = false;
    while (!changed.wait_for(lock, kPause, [this] { return ended; })) {
        // The cursor returns to the start of the line, so that a warning overwrites the progress.
        std::cerr << what() + ", " + std::to_string(static_cast<std::int64_t>(Seconds())) + " s" + kClearToEnd + '\r'
                  << std::flush;
        shown = true;
    }
    if (shown) {
        std::cerr << kClearToEnd << std::flush;
    }
}

}  // namespace Indexing
