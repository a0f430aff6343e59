#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace Fuzz {

/// An input in a file in memory. The destructor removes the file. Only one object may exist at a time.
class InputFile {
public:
    /// Throws std::runtime_error if the file cannot be written, for example because the memory is full.
    InputFile(const std::uint8_t* data, std::size_t size, const std::string& extension)
        : path("/dev/shm/tavik-fuzz-" + std::to_string(::getpid()) + extension) {
        std::ofstream stream(path, std::ios_base::binary | std::ios_base::trunc);
        stream.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        stream.close();
        if (!stream) {
            ::unlink(path.c_str());
            throw std::runtime_error(path + ": cannot be written");
        }
    }

    ~InputFile() { ::unlink(path.c_str()); }

    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& Path() const { return path; }

private:
    const std::string path;
};

}  // namespace Fuzz
