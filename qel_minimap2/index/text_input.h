#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <zlib.h>

namespace qel_minimap2 {

/// The text of a file, plain or gzip of any number of members, from front to back. Unlike zlib's gzread, it
/// does not take a damaged start of a later member for the end of the text. One thread.
class TextInput {
public:
    /// Throws std::runtime_error with the system's reason.
    explicit TextInput(const std::string& path);
    TextInput(const TextInput&) = delete;
    TextInput& operator=(const TextInput&) = delete;
    ~TextInput();

    /// Reads up to `size` bytes and returns their number, which is smaller only at the end of the text.
    /// Throws std::runtime_error when the file cannot be read and when gzip data are damaged, cut, or
    /// followed by anything but padding with zeros.
    int Read(void* buffer, int size);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    bool HasInput();
    bool StartMember();
    void Inflate();

    std::unique_ptr<std::FILE, Close> file;
    std::vector<unsigned char> chunk;
    z_stream stream{};  // Its input is what is left of the chunk, of plain text too.
    bool is_gzip = false;
    bool in_member = false;
};

}  // namespace qel_minimap2
