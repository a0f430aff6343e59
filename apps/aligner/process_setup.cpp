#include "apps/aligner/process_setup.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

#include "common/processor.h"

void SetUpProcess() {
    // Denormal numbers are slow, and no result needs them. Threads started later inherit this setting.
    Common::SetFloatingPointSettings(Common::FloatingPointSettings() | Common::kDenormalsAreZero);

    // If a standard stream is closed, opens /dev/null in its place. Without this, the next file opened would get the
    // stream's number, and what the program writes to the stream would end up in that file.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1 && ::open("/dev/null", O_RDWR) == -1) {
            _exit(1);
        }
    }
    // The results are in files, so a run must continue when the reader of its standard output ends.
    std::signal(SIGPIPE, SIG_IGN);
    // A write beyond the file size limit (ulimit -f) then fails, as on a full disk, and the writer reports the failure.
    std::signal(SIGXFSZ, SIG_IGN);
}
