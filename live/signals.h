#pragma once

#include <chrono>

#include <sys/types.h>

namespace Live {

/// While a Signals object exists, SIGINT, SIGTERM and SIGHUP ask the program to stop: the first signal is noted, the
/// second ends the program and its child at once. Signals that were ignored stay ignored. The constructor also makes
/// the program ignore SIGPIPE, SIGXFSZ and SIGIO for good. It throws std::system_error if it cannot create a pipe. Only
/// one object may exist at a time. Any thread may call Wake; only the main thread may call the other functions.
class Signals {
public:
    Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

    /// True once a signal has asked the program to stop.
    static bool Stopping();

    /// Sets the process group that a second signal kills; 0 for none.
    static void SetChild(pid_t group);

    /// Waits for this time, or until a signal (also SIGCHLD) or Wake ends the wait.
    static void Wait(std::chrono::milliseconds time);

    /// Ends the current Wait or, if there is none, the next one.
    static void Wake();
};

}  // namespace Live
