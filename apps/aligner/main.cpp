#include <iostream>

#include "apps/aligner/process_setup.h"
#include "processors/aligner.h"
#include "qel_minimap2/processor.h"

int main(int argc, char** argv) {
    SetUpProcess();
    if (const char* const fault = qel_minimap2::ProcessorFault()) {  // Checked before the program writes anything.
        std::cerr << "tavik_aligner: " << fault << '\n';
        return 1;
    }
    Tavik::Aligner aligner;
    aligner.Initialise(argc, argv, "", "");
    return aligner.Run();
}
