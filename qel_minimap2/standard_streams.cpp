// minimap2's archive is position-independent but for its use of the C library's stdin, stdout and stderr,
// which it reads as if it were part of the program. The linker is told to wrap the three names: the archive
// reads the hidden pointers below instead, which are this library's own, and they are set from the real ones
// before anything runs.

#include <cstdio>

extern "C" {

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the linker's names.
extern FILE* __real_stdin;
extern FILE* __real_stdout;
extern FILE* __real_stderr;

[[gnu::visibility("hidden")]] FILE* __wrap_stdin;
[[gnu::visibility("hidden")]] FILE* __wrap_stdout;
[[gnu::visibility("hidden")]] FILE* __wrap_stderr;

extern int mm_verbose;

[[gnu::constructor]] static void SetStandardStreams() {
    __wrap_stdin = __real_stdin;
    __wrap_stdout = __real_stdout;
    __wrap_stderr = __real_stderr;
    mm_verbose = 1;  // Errors only: this library does not print minimap2's progress messages.
}
// NOLINTEND(clang-diagnostic-reserved-identifier)
}
