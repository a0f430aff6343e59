// Measures single functions of the aligner. The options are those of Google Benchmark; see --help.

#include <benchmark/benchmark.h>

#include "common/logger.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // Switches verbose records off, as in most runs. Several of the functions measured here log them.
    Common::logging::Prepare();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
