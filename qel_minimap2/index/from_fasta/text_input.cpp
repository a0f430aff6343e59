#include "qel_minimap2/index/from_fasta/text_input.h"

#include <algorithm>
#include <stdexcept>

namespace qel_minimap2 {

namespace {

constexpr std::size_t kChunkSize = 1 << 18;
constexpr std::string_view kGzipMagic = "\x1f\x8b";

}  // namespace

std::size_t TextInput::Source::Read(unsigned char* buffer, std::size_t size) {
    const auto count = std::min<std::uint64_t>(size, file.Size() - next);
    file.Read(next, count, buffer);
    next += count;
    return count;
}

bool TextInput::Source::Seek(std::uint64_t position) {
    next = position;
    return true;
}

TextInput::TextInput(const std::string& path) : source(path), chunk(kChunkSize) {
    piece = NextPiece();
    if (piece.starts_with(kGzipMagic)) {
        gzip = std::make_unique<Common::GzipDecoder>();
        piece = {};
    }
}

std::string_view TextInput::NextPiece() {
    if (!gzip) {
        return {chunk.data(), source.Read(reinterpret_cast<unsigned char*>(chunk.data()), chunk.size())};
    }
    const auto text = gzip->Next(source);
    if (text.empty() && !gzip->Failure().empty()) {
        throw std::runtime_error("gzip error: " + gzip->Failure());
    }
    if (text.empty() && gzip->IgnoredBytes() > 0) {
        throw std::runtime_error("gzip error: bytes that are not gzip data follow the last member");
    }
    return text;
}

int TextInput::Read(void* buffer, int size) {
    auto* const out = static_cast<char*>(buffer);
    std::size_t count = 0;
    while (count < static_cast<std::size_t>(size)) {
        if (piece.empty()) {
            piece = NextPiece();
        }
        if (piece.empty()) {
            break;
        }
        const auto copied = piece.copy(out + count, static_cast<std::size_t>(size) - count);
        piece.remove_prefix(copied);
        count += copied;
    }
    return static_cast<int>(count);
}

}  // namespace qel_minimap2
