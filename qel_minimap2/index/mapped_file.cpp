#include "qel_minimap2/index/mapped_file.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qel_minimap2/index/pages.h"

namespace qel_minimap2 {

namespace {

[[noreturn]] void Fail() {
    throw std::runtime_error(std::generic_category().message(errno));
}

class Descriptor {
public:
    explicit Descriptor(const std::string& path) : value(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (value < 0) {
            Fail();
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::close(value); }

    const int value;
};

}  // namespace

MappedFile::MappedFile(const std::string& path) {
    const Descriptor file(path);
    struct stat status {};
    if (::fstat(file.value, &status) != 0) {
        Fail();
    }
    size = static_cast<std::size_t>(status.st_size);
    if (size == 0) {
        return;
    }
    void* const mapping = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.value, 0);
    if (mapping == MAP_FAILED) {
        Fail();
    }
    ::madvise(mapping, size, MADV_SEQUENTIAL);
    data = static_cast<unsigned char*>(mapping);
}

void MappedFile::Release(const unsigned char* begin, const unsigned char* end) const {
    ReleasePages(data, static_cast<std::size_t>(begin - data), static_cast<std::size_t>(end - data));
}

MappedFile::~MappedFile() {
    if (data != nullptr) {
        ::munmap(data, size);
    }
}

}  // namespace qel_minimap2
