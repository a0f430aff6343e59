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

int InputFileSource::Descriptor() {
    if (file->descriptor < 0) {
        file->descriptor = ::open(file->path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file->descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "Could not open " + file->path);
        }
    }
    return file->descriptor;
}

std::streamsize InputFileSource::read(char* buffer, std::streamsize count) {
    ssize_t got = -1;
    do {
        got = ::read(Descriptor(), buffer, static_cast<std::size_t>(count));
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        throw std::system_error(errno, std::generic_category(), "Could not read " + file->path);
    }
    return got == 0 ? -1 : got;
}

std::streampos InputFileSource::seek(boost::iostreams::stream_offset offset, std::ios_base::seekdir from) {
    const int whence = from == std::ios_base::beg ? SEEK_SET : from == std::ios_base::cur ? SEEK_CUR : SEEK_END;
    return {::lseek(Descriptor(), offset, whence)};
}

}  // namespace Common
