#include "qel_minimap2/index/mapped/new_file.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "qel_minimap2/index/mapped/link_target.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

namespace {

constexpr mode_t kMode = 0666;  // The process's umask removes bits from it.

// The name of a hidden file, in memory that a signal handler may read.
struct HiddenFile {
    enum State { free, changing, in_use };
    std::atomic<State> state = free;
    std::array<char, PATH_MAX> name{};
    HiddenFile* next = nullptr;  // Constant once this is in the list.
};
// A list that never shrinks. Elements whose state is `free` are reused.
std::atomic<HiddenFile*> hidden_files = nullptr;
static_assert(std::atomic<HiddenFile::State>::is_always_lock_free && decltype(hidden_files)::is_always_lock_free);

constexpr char kHiddenStart[] = ".tavik_index.";

// Removes the hidden files of killed processes. Running processes lock theirs.
void RemoveStale(const std::string& folder) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (!entry->path().filename().string().starts_with(kHiddenStart)) {
            continue;
        }
        const Common::FileDescriptor file(::open(entry->path().c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        struct stat status {};
        if (file.Get() >= 0 && ::fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode) &&
            ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
            ::unlink(entry->path().c_str());
        }
    }
}

// Locks the hidden file, so that other processes do not remove it as a stale one. Returns false if another process has
// just removed it. On file systems without locks, stale files are never removed.
bool LockHidden(int descriptor) {
    static_cast<void>(::flock(descriptor, LOCK_EX));
    struct stat status {};
    return ::fstat(descriptor, &status) != 0 || status.st_nlink > 0;
}

// Puts the name into the list of hidden files. If there is no memory, or the name is too long, signal handlers will not
// remove the file.
void Remember(const std::string& name) {
    auto* file = hidden_files.load();
    for (; file != nullptr; file = file->next) {
        auto state = HiddenFile::free;
        if (file->state.compare_exchange_strong(state, HiddenFile::changing)) {
            break;
        }
    }
    if (file == nullptr) {
        file = new (std::nothrow) HiddenFile;  // NOLINT(cppcoreguidelines-owning-memory): the list keeps it.
        if (file == nullptr) {
            return;
        }
        file->state = HiddenFile::changing;
        file->next = hidden_files;
        while (!hidden_files.compare_exchange_weak(file->next, file)) {
        }
    }
    const bool fits = name.size() < file->name.size();
    std::copy_n(name.c_str(), fits ? name.size() + 1 : 0, file->name.begin());
    file->state = fits ? HiddenFile::in_use : HiddenFile::free;
}

std::string Target(const std::string& path) {
    std::error_code error;
    auto name = LinkTarget(path, error);
    if (error) {
        throw std::runtime_error(error.message());
    }
    const auto kind = std::filesystem::status(name, error);
    if (std::filesystem::is_directory(kind)) {
        throw std::runtime_error("is a folder");
    }
    if (std::filesystem::exists(kind) && !std::filesystem::is_regular_file(kind)) {
        throw std::runtime_error("is not a regular file");
    }
    return name;
}

}  // namespace

NewFile::NewFile(const std::string& path, std::uint64_t size, Naming naming)
    : path(Target(path)), folder(std::filesystem::path(this->path).parent_path().string()) {
    folder = folder.empty() ? "." : folder;
    RemoveStale(folder);
    // Publish needs /proc/self/fd to name an unnamed file.
    if (naming == Naming::late && ::access("/proc/self/fd", X_OK) == 0) {
        descriptor = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, kMode);
    }
    if (descriptor >= 0) {
        static_cast<void>(::flock(descriptor, LOCK_EX));
    } else {
        CreateHidden();
    }
    // Not all file systems can reserve space. On those that cannot, a later Write fails when the disk is full.
    if (::fallocate(descriptor, 0, 0, static_cast<off_t>(size)) != 0 && (errno == ENOSPC || errno == EDQUOT)) {
        GiveUp();
    }
    try {
        sender = std::jthread([this](const std::stop_token& stop) { SendToDisk(stop); });
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): Publish then sends all data.
    }
}

void NewFile::SendToDisk(const std::stop_token& stop) const {
    // In bytes. Limits the number of calls, because each one searches the file for pages not yet on the disk.
    constexpr std::uint64_t kLeast = std::uint64_t{1} << 24U;
    std::uint64_t sent = 0;
    std::unique_lock lock(mutex);
    while (changed.wait(lock, stop, [&] { return written >= sent + kLeast; })) {
        sent = written;
        lock.unlock();
        ::sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
        lock.lock();
    }
}

void NewFile::GiveUp() {
    const int reason = errno;
    Forget();
    errno = reason;
    FailForErrno();
}

NewFile::~NewFile() {
    sender = {};
    Forget();
}

void NewFile::CreateHidden() {
    while (hidden.empty()) {
        auto name = NextHiddenName();
        descriptor = ::open(name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kMode);
        if (descriptor < 0) {
            if (errno != EEXIST) {
                GiveUp();
            }
        } else if (LockHidden(descriptor)) {
            TakeName(std::move(name));
        } else {
            Forget();
        }
    }
}

// Returns a name that may already be in use: a process in a container or on another machine may have the same process
// number.
std::string NewFile::NextHiddenName() const {
    static std::atomic<unsigned> number = 0;
    return folder + "/" + kHiddenStart + std::to_string(::getpid()) + "." + std::to_string(number++);
}

// Call only if this process has created the file: this object and signal handlers remove a file whose name they have.
void NewFile::TakeName(std::string name) {
    Remember(name);
    hidden = std::move(name);
}

void NewFile::GiveNameBack() noexcept {
    for (auto* file = hidden_files.load(); file != nullptr; file = file->next) {
        if (file->state == HiddenFile::in_use && hidden == file->name.data()) {
            file->state = HiddenFile::free;
        }
    }
    hidden.clear();
}

void NewFile::Forget() noexcept {
    if (!hidden.empty()) {
        ::unlink(hidden.c_str());
        GiveNameBack();
    }
    // Closed last, because the lock prevents others from removing the file and using its name.
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

void NewFile::Write(std::uint64_t offset, const void* data, std::size_t size) const {
    const auto* next = static_cast<const char*>(data);
    const auto all = size;
    while (size > 0) {
        const auto written = ::pwrite(descriptor, next, size, static_cast<off_t>(offset));
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            FailForErrno();
        }
        next += written;
        offset += static_cast<std::uint64_t>(written);
        size -= static_cast<std::size_t>(written);
    }
    {
        const std::lock_guard lock(mutex);
        this->written += all;
    }
    changed.notify_one();
}

void NewFile::Publish() {
    sender = {};
    if (::fsync(descriptor) != 0) {
        FailForErrno();
    }
    if (hidden.empty()) {  // An unnamed file gets a hidden name first, because only a rename replaces a file.
        const auto link = "/proc/self/fd/" + std::to_string(descriptor);
        auto name = NextHiddenName();
        while (::linkat(AT_FDCWD, link.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            if (errno != EEXIST) {
                FailForErrno();
            }
            name = NextHiddenName();
        }
        TakeName(std::move(name));
    }
    if (::rename(hidden.c_str(), path.c_str()) != 0) {
        FailForErrno();
    }
    GiveNameBack();
    const Common::FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ::fsync(opened.Get());
    Forget();
}

void NewFile::RemoveUnfinished() noexcept {
    for (const auto* file = hidden_files.load(); file != nullptr; file = file->next) {
        if (file->state == HiddenFile::in_use) {
            ::unlink(file->name.data());
        }
    }
}

}  // namespace qel_minimap2
