#include "apps/aligner/process_setup.h"
#include "processors/aligner.h"

int main(int argc, char** argv) {
    SetUpProcess();
    Tavik::Aligner aligner;
    aligner.Initialise(argc, argv, "", "");
    return aligner.Run();
}
