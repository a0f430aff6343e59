#include "qel_minimap2/index/sequence_name.h"

#include <algorithm>

namespace qel_minimap2 {

const char* FaultOfSequenceName(std::string_view name) {
    if (name.empty()) {
        return "a sequence without a name";
    }
    if (name == "*") {
        return "a sequence named '*', which SAM reserves for unmapped reads";
    }
    // Letters beyond ASCII are accepted: SAM does not allow them, but all its readers take them.
    const bool printable = std::all_of(name.begin(), name.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte > 0x20 && byte != 0x7f;
    });
    return printable ? nullptr : "a sequence whose name has blanks or control characters";
}

}  // namespace qel_minimap2
