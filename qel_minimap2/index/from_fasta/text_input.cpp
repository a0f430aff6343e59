#include "qel_minimap2/index/from_fasta/text_input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qel_minimap2 {

namespace {

constexpr std::size_t kChunkSize = 1 << 18;
constexpr std::string_view kGzipMagic = "\x1f\x8b";

[[noreturn]] void FailWithReason() {
    throw std::runtime_error(std::generic_category().message(errno));
}

}  // namespace

TextInput::File::File(const std::string& path) : descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat status {};
    if (descriptor.Get() < 0 || ::fstat(descriptor.Get(), &status) != 0) {
        FailWithReason();
    }
    size_at_opening = status.st_size;
}

std::size_t TextInput::File::Read(unsigned char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor.Get(), buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        FailWithReason();
    }
    if (count == 0 && ::lseek(descriptor.Get(), 0, SEEK_CUR) < size_at_opening) {
        throw std::runtime_error("the file became shorter while it was read");
    }
    return static_cast<std::size_t>(count);
}

bool TextInput::File::Seek(std::uint64_t position) {
    return ::lseek(descriptor.Get(), static_cast<off_t>(position), SEEK_SET) >= 0;
}

TextInput::TextInput(const std::string& path) : file(path), chunk(kChunkSize) {
    piece = NextPiece();
    if (piece.starts_with(kGzipMagic)) {
        gzip = std::make_unique<Common::GzipDecoder>();
        piece = {};
    }
}

std::string_view TextInput::NextPiece() {
    if (!gzip) {
        return {chunk.data(), file.Read(reinterpret_cast<unsigned char*>(chunk.data()), chunk.size())};
    }
    const auto text = gzip->Next(file);
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
