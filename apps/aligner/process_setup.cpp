#include "apps/aligner/process_setup.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <pmmintrin.h>
#include <unistd.h>
#include <xmmintrin.h>

void SetUpProcess() {
    // Denormal numbers are slow, and no result needs them. Threads started later inherit this setting.
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _mm_setcsr(_mm_getcsr() | static_cast<unsigned>(_MM_DENORMALS_ZERO_MASK));

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
