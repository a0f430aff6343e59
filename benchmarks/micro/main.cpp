// Measures single functions of the aligner. The options are those of Google Benchmark; see --help.

#include <benchmark/benchmark.h>

#include "common/logger.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // Switches logging off, because several of the functions measured here log verbose records, which most runs
    // discard.
    Common::logging::Prepare();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
