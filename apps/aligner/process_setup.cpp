#include "apps/aligner/process_setup.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <pmmintrin.h>
#include <unistd.h>
#include <xmmintrin.h>

void SetUpProcess() {
    // Denormal numbers are slow, and no result needs them. Threads started later inherit the setting.
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _mm_setcsr(_mm_getcsr() | static_cast<unsigned>(_MM_DENORMALS_ZERO_MASK));

    // Where a standard stream is closed, the next file to be opened gets its number, and what is meant for the
    // terminal would land in that file. So /dev/null takes the number.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1 && ::open("/dev/null", O_RDWR) == -1) {
            _exit(1);
        }
    }
    // The results are in files, so the run goes on when the reader of standard output leaves.
    std::signal(SIGPIPE, SIG_IGN);
    // A write beyond the size limit (ulimit -f) then fails like one on a full disk and is reported there.
    std::signal(SIGXFSZ, SIG_IGN);
}
