#include "qel_minimap2/index/mapped/bus_guard.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <mutex>

#include <unistd.h>

namespace qel_minimap2 {

// An element of a list that the signal handler may read at any time. Elements are reused, but never freed.
struct GuardedRange {
    std::atomic<std::uintptr_t> begin = 0, end = 0;  // `end` is 0 while the element is not in use.
    std::string message;                             // Changes only while the element is not in use.
    GuardedRange* next = nullptr;
};

namespace {

std::mutex ranges_mutex;  // Locked to change the list.
std::atomic<GuardedRange*> ranges = nullptr;
struct sigaction previous {};  // Written before the handler is installed.

void PassOn(int signal, siginfo_t* info, void* context) {
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signal, info, context);
    } else if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
    } else {
        // The signal arrives again after this function returns, and has the same effect as without the guard.
        ::sigaction(signal, &previous, nullptr);
        ::raise(signal);
    }
}

// Calls only functions that a signal handler may call.
void EndForRange(int signal, siginfo_t* info, void* context) {
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    for (const auto* range = ranges.load(); range != nullptr; range = range->next) {
        if (info->si_code > 0 && address < range->end && address >= range->begin) {
            static std::atomic_flag is_ending;
            while (is_ending.test_and_set()) {
                ::pause();  // Another thread is ending the process. A loop, because other signals end the pause.
            }
            const auto& message = range->message;
            static_cast<void>(!::write(STDERR_FILENO, message.data(), message.size()));
            ::_exit(1);
        }
    }
    PassOn(signal, info, context);
}

void InstallHandler() {
    struct sigaction action {};
    action.sa_sigaction = EndForRange;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    ::sigaction(SIGBUS, nullptr, &previous);
    ::sigaction(SIGBUS, &action, nullptr);
}

}  // namespace

BusGuard::BusGuard(std::span<const unsigned char> bytes, const std::string& path) {
    static std::once_flag installed;
    std::call_once(installed, InstallHandler);
    auto message = "libqel_minimap2: " + path +
                   ": the file can no longer be read: it was shortened, another machine replaced it, or its disk "
                   "failed; the process ends\n";
    const std::lock_guard lock(ranges_mutex);
    for (range = ranges; range != nullptr && range->end != 0; range = range->next) {
    }
    if (range == nullptr) {
        range = new GuardedRange;  // NOLINT(cppcoreguidelines-owning-memory)
        range->next = ranges;
        ranges = range;
    }
    range->message = std::move(message);
    range->begin = reinterpret_cast<std::uintptr_t>(bytes.data());
    range->end = range->begin + bytes.size();
}

BusGuard::~BusGuard() {
    range->end = 0;
}

}  // namespace qel_minimap2
