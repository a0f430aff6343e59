// minimap2's archive is compiled for executables (-fPIE): it is position-independent, but it addresses the C library's
// stdin, stdout and stderr directly, which code in a shared library cannot do. The linker therefore wraps these three
// names, so that the archive uses the hidden pointers below, which belong to this library. The pointers are set to the
// C library's streams when this library is loaded.

#include <cstdio>

extern "C" {

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the linker requires these names.
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
