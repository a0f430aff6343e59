#include "qel_minimap2/index/mapped/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "common/file_identity.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

MappedFile::MappedFile(const std::string& path) : file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    const auto state = Now();
    if (!state) {
        FailForErrno();
    }
    opened = *state;
    const auto size = static_cast<std::size_t>(opened.size);
    if (size == 0) {
        return;
    }
    void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file.Get(), 0);
    if (mapped == MAP_FAILED) {
        FailForErrno();
    }
    memory = {static_cast<const unsigned char*>(mapped), Unmap{size}};
    guard.emplace(Bytes(), path);
}

std::optional<MappedFile::State> MappedFile::Now() const {
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    struct stat status {};
    if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0) {
        return std::nullopt;
    }
    return State{static_cast<std::uint64_t>(status.st_size),
                 status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec};
}

std::string MappedFile::Identity() const {
    struct stat status {};
    return ::fstat(file.Get(), &status) == 0 ? Common::FileIdentity(status) : "";
}

// NOLINTBEGIN(cppcoreguidelines-pro-type-const-cast): neither call writes to the bytes.
void MappedFile::ExpectReadingInOrder(bool in_order) const {
    const auto bytes = Bytes();
    ::madvise(const_cast<unsigned char*>(bytes.data()), bytes.size(), in_order ? MADV_SEQUENTIAL : MADV_NORMAL);
}

void MappedFile::Unmap::operator()(const unsigned char* mapped) const {
    ::munmap(const_cast<unsigned char*>(mapped), size);
}
// NOLINTEND(cppcoreguidelines-pro-type-const-cast)

}  // namespace qel_minimap2
