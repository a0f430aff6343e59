#pragma once

#include <cstddef>
#include <memory>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace qel_minimap2 {

/// Zeroed memory in complete pages, which come directly from the system and return to it. An allocator would keep the
/// gigabytes that an index frees. Huge pages are not requested: in a virtual machine, reads were aligned slightly
/// faster with them, but loading an index took twice as long.
class Pages {
public:
    Pages() = default;
    /// Throws std::bad_alloc.
    explicit Pages(std::size_t size) {
        if (size > 0) {
            void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (memory == MAP_FAILED) {
                throw std::bad_alloc();
            }
            data = {static_cast<unsigned char*>(memory), Unmap{size}};
        }
    }

    unsigned char* Data() const { return data.get(); }
    std::size_t Size() const { return data ? data.get_deleter().size : 0; }

    /// Makes the system provide all pages now, which is faster than one by one at first use.
    void Touch() const {
        ::madvise(Data(), Size(), MADV_POPULATE_WRITE);  // If an old kernel refuses this, only time is lost.
    }

    /// Gives the complete pages within bytes [begin, end) back to the system; they are zero afterwards. Any thread.
    void Release(std::size_t begin, std::size_t end) const {
        static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        begin = (begin + page - 1) / page * page;
        end = end / page * page;
        if (end > begin) {
            ::madvise(Data() + begin, end - begin, MADV_DONTNEED);
        }
    }

private:
    struct Unmap {
        std::size_t size;
        void operator()(unsigned char* memory) const { ::munmap(memory, size); }
    };

    std::unique_ptr<unsigned char, Unmap> data;
};

}  // namespace qel_minimap2
