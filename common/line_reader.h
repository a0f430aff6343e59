#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/file_descriptor.h"

namespace Common {

/// Reads a text file line by line, at the speed of a copy, in a buffer that only a long line makes grow. Not
/// synchronised.
class LineReader {
public:
    /// Opens the file. `block`: bytes read at a time, as long as no line is longer. `longest`: bytes of a line.
    /// Throws std::system_error "<path>: <reason>".
    LineReader(const std::string& path, std::size_t block, std::size_t longest);

    /// Reads the next line, without its line feed; it is valid until the next one is read. False at the end. A last
    /// line without a line feed is not read. Throws std::system_error as the constructor does, and std::length_error
    /// for a line that is too long.
    bool Next(std::string_view& line);

    /// At the end: the last line if it has no line feed; empty otherwise.
    std::string_view HalfLine() const { return {buffer.data() + begin, end - begin}; }
    /// Of the line read last, or at the end and after a std::length_error of the line that could not be read; from 1.
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
    std::size_t begin = 0;  // Of what is left in the buffer.
    std::size_t end = 0;
};

}  // namespace Common
