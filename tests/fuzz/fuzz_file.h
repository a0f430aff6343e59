#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include <unistd.h>

namespace Fuzz {

/// Writes the input to an in-memory file for this process only, and returns the file's path.
inline std::string WriteInput(const std::uint8_t* data, std::size_t size, const std::string& extension) {
    const auto path = "/dev/shm/tavik-fuzz-" + std::to_string(::getpid()) + extension;
    std::ofstream(path, std::ios_base::binary | std::ios_base::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    return path;
}

}  // namespace Fuzz
