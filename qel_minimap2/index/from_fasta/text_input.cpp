#include "qel_minimap2/index/from_fasta/text_input.h"

#include <algorithm>
#include <stdexcept>

namespace qel_minimap2 {

TextInput::TextInput(const std::string& path) : file(path) {
    if (file.Start(2) == "\x1f\x8b") {
        gzip = std::make_unique<Common::GzipDecoder>();
    }
}

std::size_t TextInput::Read(unsigned char* buffer, std::size_t size) {
    const auto count = std::min<std::uint64_t>(size, file.Size() - next);
    file.Read(next, count, buffer);
    next += count;
    return count;
}

bool TextInput::Seek(std::uint64_t position) {
    next = position;
    return true;
}

std::string_view TextInput::NextText() {
    const auto decoded = gzip->Next(*this);
    if (decoded.empty() && !gzip->Failure().empty()) {
        throw std::runtime_error("gzip error: " + gzip->Failure());
    }
    if (decoded.empty() && gzip->IgnoredBytes() > 0) {
        throw std::runtime_error("gzip error: bytes that are not gzip data follow the last member");
    }
    return decoded;
}

int TextInput::Read(void* buffer, int size) {
    if (!gzip) {
        return static_cast<int>(Read(static_cast<unsigned char*>(buffer), static_cast<std::size_t>(size)));
    }
    int count = 0;
    while (count < size) {
        text = text.empty() ? NextText() : text;
        if (text.empty()) {
            break;
        }
        const auto copied = text.copy(static_cast<char*>(buffer) + count, static_cast<std::size_t>(size - count));
        text.remove_prefix(copied);
        count += static_cast<int>(copied);
    }
    return count;
}

}  // namespace qel_minimap2
