#include "qel_minimap2/index/pages.h"

#include <new>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

namespace qel_minimap2 {

Pages::Pages(std::size_t size) : size(size) {
    if (size == 0) {
        return;
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    data = static_cast<unsigned char*>(memory);
}

Pages::Pages(Pages&& other) noexcept : data(std::exchange(other.data, nullptr)), size(std::exchange(other.size, 0)) {}

Pages& Pages::operator=(Pages&& other) noexcept {
    std::swap(data, other.data);
    std::swap(size, other.size);
    return *this;
}

Pages::~Pages() {
    if (data != nullptr) {
        ::munmap(data, size);
    }
}

void Pages::Touch() const {
    if (data != nullptr) {
        ::madvise(data, size, MADV_POPULATE_WRITE);  // Old kernels refuse this, which only costs time.
    }
}

void Pages::Release(std::size_t begin, std::size_t end) const {
    static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    begin = (begin + page - 1) / page * page;
    end = end / page * page;
    if (end > begin) {
        ::madvise(data + begin, end - begin, MADV_DONTNEED);
    }
}

}  // namespace qel_minimap2
