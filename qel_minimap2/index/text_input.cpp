#include "qel_minimap2/index/text_input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>
#include <stdexcept>
#include <system_error>

namespace qel_minimap2 {

namespace {

constexpr std::size_t kChunkSize = 1 << 18;
constexpr unsigned char kGzipMagic[] = {0x1f, 0x8b};

[[noreturn]] void FailWithReason() {
    throw std::runtime_error(std::generic_category().message(errno));
}

}  // namespace

TextInput::TextInput(const std::string& path) : file(std::fopen(path.c_str(), "rbe")), chunk(kChunkSize) {
    if (!file) {
        FailWithReason();
    }
    is_gzip = HasInput() && stream.avail_in >= sizeof(kGzipMagic) &&
              std::equal(std::begin(kGzipMagic), std::end(kGzipMagic), stream.next_in);
    // Last, since no destructor follows an exception here. 15: the largest window; 16 more: gzip, not zlib.
    if (inflateInit2(&stream, 15 + 16) != Z_OK) {
        throw std::bad_alloc();
    }
}

TextInput::~TextInput() {
    inflateEnd(&stream);
}

// True when input is left. Reads the next chunk when the last one is used up.
bool TextInput::HasInput() {
    if (stream.avail_in == 0) {
        stream.next_in = chunk.data();
        stream.avail_in = static_cast<uInt>(std::fread(chunk.data(), 1, chunk.size(), file.get()));
        if (stream.avail_in == 0 && std::ferror(file.get()) != 0) {
            FailWithReason();
        }
    }
    return stream.avail_in > 0;
}

// Starts the next member. False at the end of the file; zeros may stand before it, since tapes are padded so.
bool TextInput::StartMember() {
    bool padded = false;
    while (HasInput()) {
        const unsigned char next = *stream.next_in;
        if (next == kGzipMagic[0] && !padded) {
            inflateReset(&stream);
            return in_member = true;
        }
        if (next != 0) {
            throw std::runtime_error("the gzip data are damaged (something else follows them)");
        }
        padded = true;
        ++stream.next_in;
        --stream.avail_in;
    }
    return false;
}

void TextInput::Inflate() {
    const int code = inflate(&stream, Z_NO_FLUSH);
    if (code == Z_STREAM_END) {
        in_member = false;
    } else if (code == Z_MEM_ERROR) {
        throw std::bad_alloc();
    } else if (code != Z_OK && code != Z_BUF_ERROR) {
        const char* const reason = stream.msg != nullptr ? stream.msg : "no gzip data";
        throw std::runtime_error("the gzip data are damaged (" + std::string(reason) + ")");
    }
}

int TextInput::Read(void* buffer, int size) {
    stream.next_out = static_cast<unsigned char*>(buffer);
    stream.avail_out = static_cast<uInt>(size);
    while (stream.avail_out > 0) {
        if (is_gzip && !in_member && !StartMember()) {
            break;
        }
        if (!HasInput()) {
            if (in_member) {
                throw std::runtime_error("the gzip data end too early");
            }
            break;
        }
        if (is_gzip) {
            Inflate();
            continue;
        }
        const auto count = std::min(stream.avail_in, stream.avail_out);
        std::memcpy(stream.next_out, stream.next_in, count);
        stream.next_in += count;
        stream.avail_in -= count;
        stream.next_out += count;
        stream.avail_out -= count;
    }
    return size - static_cast<int>(stream.avail_out);
}

}  // namespace qel_minimap2
