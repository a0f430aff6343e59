#include "live/signals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Live {

namespace {

constexpr std::initializer_list<int> kStops = {SIGINT, SIGTERM, SIGHUP};

// Used by the signal handler.
std::atomic<int> stops = 0;
std::atomic<pid_t> child_group = 0;
// A pipe. Each signal writes a byte to it. This byte ends the current wait or, if there is none, the next one.
std::array<int, 2> wake = {-1, -1};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<pid_t>::is_always_lock_free);

void Handle(int signal) {
    const int error = errno;
    if (signal != SIGCHLD && ++stops > 1) {
        if (const pid_t group = child_group; group > 0) {
            ::kill(-group, SIGKILL);
        }
        std::signal(signal, SIG_DFL);
        sigset_t only{};
        sigemptyset(&only);
        sigaddset(&only, signal);
        ::sigprocmask(SIG_UNBLOCK, &only, nullptr);
        ::raise(signal);
    }
    Signals::Wake();
    errno = error;
}

}  // namespace

Signals::Signals() {
    stops = 0;
    if (::pipe2(wake.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    // A closed standard output, a limit on file sizes, and another program's access to a leased file must not end the
    // run.
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGIO}) {
        std::signal(signal, SIG_IGN);
    }
    struct sigaction action {};
    action.sa_handler = Handle;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGCHLD, &action, nullptr);
    for (const int signal : kStops) {
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {  // nohup, or a shell without job control, may have set SIG_IGN on purpose.
            ::sigaction(signal, &action, nullptr);
        }
    }
}

Signals::~Signals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
        struct sigaction now {};
        ::sigaction(signal, nullptr, &now);
        if (now.sa_handler == Handle) {
            std::signal(signal, SIG_DFL);
        }
    }
    for (const int end : wake) {
        ::close(end);
    }
}

bool Signals::Stopping() {
    return stops > 0;
}

void Signals::SetChild(pid_t group) {
    child_group = group;
}

// Async-signal-safe.
void Signals::Wake() {
    [[maybe_unused]] const auto full_is_fine = ::write(wake[1], "", 1);
}

void Signals::Wait(std::chrono::milliseconds time) {
    pollfd readable{wake[0], POLLIN, 0};
    ::poll(&readable, 1, static_cast<int>(time.count()));
    std::array<char, 64> drained{};
    while (::read(wake[0], drained.data(), drained.size()) > 0) {
    }
}

}  // namespace Live
