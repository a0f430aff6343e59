#include "live/disk_files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "common/file_descriptor.h"

namespace Live {

namespace {

[[noreturn]] void Fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace

std::string ReadFile(const std::string& path) {
    const Common::FileDescriptor file(OpenFile(path, O_RDONLY));
    std::string text;
    std::array<char, 1U << 16U> part;
    ssize_t count = 0;
    do {
        count = ::read(file.Get(), part.data(), part.size());
        if (count < 0 && errno != EINTR) {
            Fail(path);
        }
        text.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    } while (count != 0);
    return text;
}

int OpenFile(const std::string& path, int flags) {
    constexpr mode_t kMode = 0666;
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, kMode);
    if (descriptor < 0) {
        Fail(path);
    }
    return descriptor;
}

void WriteAt(int descriptor, std::string_view text, std::uint64_t position, const std::string& path) {
    while (!text.empty()) {
        const auto written = ::pwrite(descriptor, text.data(), text.size(), static_cast<off_t>(position));
        if (written < 0 && errno != EINTR) {
            Fail(path);
        }
        const auto count = static_cast<std::size_t>(written < 0 ? 0 : written);
        text.remove_prefix(count);
        position += count;
    }
}

void WriteFile(const std::string& path, std::string_view text) {
    const Common::FileDescriptor file(OpenFile(path, O_WRONLY | O_CREAT | O_TRUNC));
    WriteAt(file.Get(), text, 0, path);
    if (::fdatasync(file.Get()) != 0) {
        Fail(path);
    }
}

void ReplaceFile(const std::string& path, std::string_view text) {
    const auto part = path + ".part";
    WriteFile(part, text);
    Rename(part, path);
}

void Sync(const std::string& path) {
    const Common::FileDescriptor file(OpenFile(path, O_RDONLY));
    // Some network file systems do not support fsync for folders and return one of these errors.
    if (::fsync(file.Get()) != 0 && errno != EINVAL && errno != EBADF) {
        Fail(path);
    }
}

bool SyncDisk(const std::string& folder) {
    const Common::FileDescriptor file(OpenFile(folder, O_RDONLY));
    return ::syncfs(file.Get()) == 0;
}

void Rename(const std::string& from, const std::string& to) {
    if (::rename(from.c_str(), to.c_str()) != 0) {
        Fail(to);
    }
}

std::uint64_t SizeOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        Fail(path);
    }
    return static_cast<std::uint64_t>(status.st_size);
}

bool IsDiskFull(int error) {
    return error == ENOSPC || error == EDQUOT;
}

bool HasRoom(const std::string& folder, std::uint64_t bytes) {
    struct statvfs free {};
    if (::statvfs(folder.c_str(), &free) == 0 && std::uint64_t{free.f_bavail} * free.f_frsize < bytes) {
        return false;
    }
    // statvfs ignores the user's quota, so try to reserve space.
    constexpr std::uint64_t kLeast = 1U << 16U;
    constexpr std::uint64_t kMost = 1U << 20U;
    const auto path = folder + "/room";
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return !IsDiskFull(errno);
    }
    const Common::FileDescriptor file(descriptor);
    const int error = ::posix_fallocate(file.Get(), 0, static_cast<off_t>(std::clamp(bytes, kLeast, kMost)));
    ::unlink(path.c_str());
    return !IsDiskFull(error);
}

}  // namespace Live
