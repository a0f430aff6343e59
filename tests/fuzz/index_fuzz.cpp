// Loads the input as a prebuilt index. Either loading must refuse it, or mapping a read must succeed or fail with a
// message.

#include <cstdlib>
#include <string>

#include "qel_minimap2/qel_minimap2.h"
#include "tests/fuzz/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::string bases = "ACGTTGCAAGTCCATGGATTCAGGCTAAGCTTACGGATCCATTAGCAGGTCATACGGTTACAGT";
    static std::string name = "read";
    const Fuzz::InputFile file(data, size, ".mmi");
    // Each refusal writes a line to standard error, which scripts/fuzz redirects to its log.
    mm_idx_t* const index = qelmm_load_index(file.Path().c_str());
    if (index != nullptr) {
        mm_bseq1_t read{};
        read.l_seq = static_cast<int>(bases.size());
        read.name = name.data();
        read.seq = bases.data();
        char* const text = qelmm_align(index, 0, read);
        if (text != nullptr && text[0] != 'E') {
            std::free(text);
        }
        qelmm_unload_index(index);
    }
    return 0;
}
