#include "qel_minimap2/index/stored_file.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qel_minimap2 {

void FailForErrno() {
    throw std::runtime_error(std::generic_category().message(errno));
}

StoredFile::StoredFile(const std::string& path) : descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat status {};
    if (descriptor.Get() < 0 || ::fstat(descriptor.Get(), &status) != 0) {
        FailForErrno();
    }
    size = static_cast<std::uint64_t>(status.st_size);
}

void StoredFile::Read(std::uint64_t offset, std::size_t count, void* target) const {
    auto* next = static_cast<char*>(target);
    while (count > 0) {
        const auto got = ::pread(descriptor.Get(), next, count, static_cast<off_t>(offset));
        if (got == 0) {
            throw std::runtime_error("the file became shorter while it was being read");
        }
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            FailForErrno();
        }
        next += got;
        offset += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
    }
}

std::string StoredFile::Start(std::size_t count) const {
    std::string start(std::min<std::uint64_t>(count, size), '\0');
    Read(0, start.size(), start.data());
    return start;
}

void StoredFile::Prefetch(std::uint64_t offset, std::size_t count) const {
    ::posix_fadvise(descriptor.Get(), static_cast<off_t>(offset), static_cast<off_t>(count), POSIX_FADV_WILLNEED);
}

const unsigned char* FileWindow::At(std::uint64_t offset, std::size_t count, std::uint64_t end) {
    if (offset < begin || offset + count > begin + bytes.size()) {
        bytes.resize(std::max<std::uint64_t>(count, std::min<std::uint64_t>(chunk, end - std::min(end, offset))));
        file.Read(offset, bytes.size(), bytes.data());
        begin = offset;
    }
    return bytes.data() + (offset - begin);
}

}  // namespace qel_minimap2
