#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/file_descriptor.h"

namespace Common {

/// Reads a text file line by line. Only a long line enlarges the buffer. Not synchronised.
class LineReader {
public:
    /// Opens the file. `block`: the initial size of the buffer in bytes. `longest`, in bytes, is rounded up to `block`
    /// times a power of two; a line of that length or more is refused. Throws std::system_error "<path>: <reason>".
    LineReader(const std::string& path, std::size_t block, std::size_t longest);

    /// Reads the next line without its line feed; `line` stays valid until the next call. Returns false at the end. A
    /// last line without a line feed is not returned. Throws std::system_error as the constructor does, and
    /// std::length_error for a line that is refused.
    bool Next(std::string_view& line);

    /// The last line if it has no line feed, otherwise empty. Call only after Next has returned false.
    std::string_view HalfLine() const { return {buffer.data() + begin, end - begin}; }
    /// The 1-based number of the line read last. After Next has returned false or thrown an exception, the number of
    /// the line after that one.
    std::uint64_t LineNumber() const { return line_number; }

    std::uint64_t BytesRead() const { return bytes_read; }
    std::uint64_t FileSize() const { return file_size; }

private:
    bool Fill();

    const std::string path;
    const std::size_t longest;
    const FileDescriptor file;
    std::uint64_t file_size = 0;
    std::uint64_t bytes_read = 0;
    std::uint64_t line_number = 0;
    bool ended = false;
    std::vector<char> buffer;
    std::size_t begin = 0;  // The unread part of the buffer: [begin, end).
    std::size_t end = 0;
};

}  // namespace Common
