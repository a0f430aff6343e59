#include "common/reads/input_file_source.h"

#include <cerrno>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Common {

struct InputFileSource::OpenFile {
    explicit OpenFile(const std::string& path) : path(path) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }

    std::string path;
    int descriptor = -1;
};

InputFileSource::InputFileSource(const std::string& path) : file(std::make_shared<OpenFile>(path)) {}

std::streamsize InputFileSource::read(char* buffer, std::streamsize count) {
    if (file->descriptor < 0) {
        file->descriptor = ::open(file->path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file->descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "Could not open " + file->path);
        }
    }
    ssize_t got = -1;
    do {
        got = ::read(file->descriptor, buffer, static_cast<std::size_t>(count));
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        throw std::system_error(errno, std::generic_category(), "Could not read " + file->path);
    }
    return got == 0 ? -1 : got;
}

}  // namespace Common
