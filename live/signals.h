#pragma once

#include <chrono>

#include <sys/types.h>

namespace Live {

/// During its lifetime, SIGINT, SIGTERM and SIGHUP ask the program to stop: the first one is noted, the second one ends
/// the program and its child at once. Only one object may exist at a time, and only the main thread uses it.
class Signals {
public:
    Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

    /// True once a signal has asked to stop.
    static bool Stopping();

    /// The process group that a second signal kills; 0: none.
    static void SetChild(pid_t group);

    /// Waits, at most until the next signal, such as that of a child's end, or the next Wake.
    static void Wait(std::chrono::milliseconds time);

    /// Ends a Wait, now or later. Any thread may call it.
    static void Wake();
};

}  // namespace Live
