// Reads the input as a whitelist: no id may contain a space, begin with a tab or end with a carriage return.

#include <cstdlib>

#include "common/read_id_whitelist.h"
#include "tests/fuzz/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Fuzz::InputFile file(data, size, ".txt");
    for (const auto& id : Common::getReadIdWhitelist(file.Path())) {
        if (id.find(' ') != std::string::npos || id.ends_with('\r') || id.starts_with('\t')) {
            std::abort();
        }
    }
    return 0;
}
