#include "apps/aligner/process_setup.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

#include "common/processor.h"

void SetUpProcess() {
    // Denormal numbers are slow, and no result needs them. Threads started later inherit this setting.
    Common::SetFloatingPointSettings(Common::FloatingPointSettings() | Common::kDenormalsAreZero);

    // If a standard stream is closed, the next opened file gets its number and would receive terminal output. So
    // /dev/null takes the number instead.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1 && ::open("/dev/null", O_RDWR) == -1) {
            _exit(1);
        }
    }
    // The results are in files, so the run continues when the reader of standard output exits.
    std::signal(SIGPIPE, SIG_IGN);
    // A write beyond the size limit (ulimit -f) then fails as on a full disk, and the writer reports it.
    std::signal(SIGXFSZ, SIG_IGN);
}
