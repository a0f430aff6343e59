#include <pmmintrin.h>
#include <xmmintrin.h>

#include "processors/aligner.h"

int main(int argc, char** argv) {
    // Denormal numbers are treated as zero, here and in every thread started from here: nothing is computed
    // with them, and they are slow.
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);

    Tavik::Aligner aligner;
    aligner.Initialise(argc, argv, "", "");
    return aligner.Run();
}
