#include "live/aligner_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "live/disk_files.h"
#include "live/signals.h"

namespace Live {

namespace {

// Replaces the forked child with the aligner; returns only on failure. The parent may have other threads, so the child
// may call only async-signal-safe functions.
void Become(const std::vector<char*>& words, int input, int messages, pid_t parent) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        _exit(1);  // The parent died before prctl took effect.
    }
    if (::dup2(input, STDIN_FILENO) < 0 || ::dup2(messages, STDOUT_FILENO) < 0 || ::dup2(messages, STDERR_FILENO) < 0) {
        return;
    }
    ::execv(words.front(), words.data());
}

}  // namespace

AlignerProcess::AlignerProcess(const std::vector<std::string>& command, const std::string& input,
                               const std::string& messages) {
    const Common::FileDescriptor from(OpenFile(input, O_RDONLY));
    const Common::FileDescriptor to(OpenFile(messages, O_WRONLY | O_CREAT | O_TRUNC));
    // The child writes errno to this pipe on failure; a successful start closes the pipe.
    std::array<int, 2> failure = {-1, -1};
    if (::pipe2(failure.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const Common::FileDescriptor failure_end(failure[0]);
    auto words_of = command;
    std::vector<char*> words;
    words.reserve(words_of.size() + 1);
    for (auto& word : words_of) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    const pid_t parent = ::getpid();
    process = ::fork();
    if (process == 0) {
        Become(words, from.Get(), to.Get(), parent);
        const int reason = errno;
        [[maybe_unused]] const auto written = ::write(failure[1], &reason, sizeof reason);
        _exit(1);
    }
    ::close(failure[1]);
    if (process < 0) {
        throw std::system_error(errno, std::generic_category(), command.front());
    }
    ::setpgid(process, process);  // Both processes do this, because either may run first.
    Signals::SetChild(process);
    int reason = 0;
    if (::read(failure_end.Get(), &reason, sizeof reason) == sizeof reason) {
        ::waitpid(process, nullptr, 0);
        Signals::SetChild(0);
        throw std::system_error(reason, std::generic_category(), command.front());
    }
}

AlignerProcess::~AlignerProcess() {
    if (!Ended()) {
        ::kill(-process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    Signals::SetChild(0);
}

std::optional<int> AlignerProcess::Ended() {
    int raw = 0;
    if (!status && ::waitpid(process, &raw, WNOHANG) == process) {
        status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -WTERMSIG(raw);
        Signals::SetChild(0);
    }
    return status;
}

}  // namespace Live
