#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "common/gzip/gzip_decoder.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

/// Reads the text of a file, plain or gzip with any number of members, from beginning to end. Unlike zlib's gzread, it
/// does not mistake a damaged start of a later member for the end of the text. Not thread-safe.
class TextInput : private Common::GzipSource {
public:
    /// Throws std::runtime_error if the file cannot be opened or read.
    explicit TextInput(const std::string& path);

    /// Reads `size` bytes, or fewer at the end of the text, and returns their number. Throws std::runtime_error if the
    /// file cannot be read or has become shorter, or if its gzip data are damaged, truncated or followed by non-zero
    /// bytes.
    int Read(void* buffer, int size);

private:
    std::size_t Read(unsigned char* buffer, std::size_t size) override;
    bool Seek(std::uint64_t position) override;
    std::string_view NextText();

    const StoredFile file;
    std::uint64_t next = 0;                     // Offset in the file of the next byte to read.
    std::unique_ptr<Common::GzipDecoder> gzip;  // Null for a plain file.
    std::string_view text;                      // Decompressed text that Read has not returned yet.
};

}  // namespace qel_minimap2
