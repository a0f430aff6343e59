// Parses the input as an aligner's SAM text: each function must return or throw a std::exception.

#include <cstring>
#include <exception>

#include "third_party_alignment/sam_handler.h"
#include "third_party_alignment/sam_header.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string sam(reinterpret_cast<const char*>(data), size);
    try {
        ThirdPartyAlignment::SamHeader::EndOfHeaderLines(sam);
        ThirdPartyAlignment::SamHandler::Parse(std::string(sam), static_cast<int>(size));
    } catch (const std::exception&) {
    }
    return 0;
}
