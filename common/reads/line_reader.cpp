#include "common/line_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Common {

LineReader::LineReader(const std::string& path, std::size_t block, std::size_t longest)
    : path(path), longest(longest), file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), buffer(block) {
    struct stat status {};
    if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    file_size = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
}

bool LineReader::Fill() {
    std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(begin), buffer.begin() + static_cast<std::ptrdiff_t>(end),
              buffer.begin());
    end -= begin;
    begin = 0;
    if (end == buffer.size()) {
        if (end >= longest) {
            ++line_number;
            throw std::length_error(path + ": a line is too long");
        }
        buffer.resize(2 * end);
    }
    ssize_t count = 0;
    do {
        count = ::read(file.Get(), buffer.data() + end, buffer.size() - end);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        ++line_number;
        throw std::system_error(errno, std::generic_category(), path);
    }
    end += static_cast<std::size_t>(count);
    bytes_read += static_cast<std::uint64_t>(count);
    return count > 0;
}

bool LineReader::Next(std::string_view& line) {
    std::size_t searched = 0;
    while (!ended) {
        const char* const start = buffer.data() + begin;
        const void* const found = std::memchr(start + searched, '\n', end - begin - searched);
        if (found != nullptr) {
            const auto length = static_cast<std::size_t>(static_cast<const char*>(found) - start);
            line = {start, length};
            begin += length + 1;
            ++line_number;
            return true;
        }
        searched = end - begin;
        if (!Fill()) {
            ended = true;
            ++line_number;
        }
    }
    return false;
}

}  // namespace Common
