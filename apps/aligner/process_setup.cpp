#include "apps/aligner/process_setup.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <pmmintrin.h>
#include <unistd.h>
#include <xmmintrin.h>

void SetUpProcess() {
    // In every thread started from here too: nothing is computed with denormal numbers, and they are slow.
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _mm_setcsr(_mm_getcsr() | static_cast<unsigned>(_MM_DENORMALS_ZERO_MASK));

    // The first files opened would otherwise take the streams' numbers and get what is written to the
    // terminal.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1 && ::open("/dev/null", O_RDWR) == -1) {
            _exit(1);
        }
    }
    // The results are in files: a run does not end because nobody looks at its progress any more.
    std::signal(SIGPIPE, SIG_IGN);
    // A file that reaches the size limit (ulimit -f) is reported where it is written, as on a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
}
