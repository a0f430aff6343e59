#include "live/summary_copies.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "live/disk_files.h"

namespace Live {

namespace {

// Copies the bytes [from, to) of `source` to the position `at` of `target`.
void Copy(const std::string& source, std::uint64_t from, std::uint64_t to, int target, std::uint64_t at,
          const std::string& target_path) {
    const Common::FileDescriptor input(OpenFile(source, O_RDONLY));
    std::vector<char> block(std::size_t{1} << 20U);
    while (from < to) {
        const auto wanted = std::min<std::uint64_t>(block.size(), to - from);
        const auto count = ::pread(input.Get(), block.data(), wanted, static_cast<off_t>(from));
        if (count <= 0) {
            throw std::system_error(count < 0 ? errno : EIO, std::generic_category(), source);
        }
        WriteAt(target, {block.data(), static_cast<std::size_t>(count)}, at, target_path);
        from += static_cast<std::uint64_t>(count);
        at += static_cast<std::uint64_t>(count);
    }
}

}  // namespace

SummaryCopies::SummaryCopies(std::string visible_path, std::string hidden_path)
    : visible(std::move(visible_path)), hidden(std::move(hidden_path)) {
    DropHidden();
}

void SummaryCopies::DropHidden() const {
    ::unlink(hidden.c_str());
    ::unlink(Former().c_str());
}

// A lease for writing is granted only if nobody else has the file open.
bool SummaryCopies::IsOpenElsewhere(int descriptor) {
    if (::fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0) {
        ::fcntl(descriptor, F_SETLEASE, F_UNLCK);
        return false;
    }
    const bool is_open = errno == EAGAIN || errno == EBUSY;
    sees_readers = sees_readers && is_open;
    return is_open;
}

void SummaryCopies::Prepare(std::uint64_t before, const std::string& rows, std::uint64_t skipped) {
    {
        const Common::FileDescriptor found(::open(hidden.c_str(), O_RDWR | O_CLOEXEC));
        if (found.Get() >= 0 && IsOpenElsewhere(found.Get())) {
            DropHidden();
        }
    }
    try {
        Write(before, rows, skipped);
    } catch (const std::system_error&) {
        DropHidden();  // The copy may be incomplete, and a later call would keep its rows.
        throw;
    }
    ::unlink(Former().c_str());
    // If the file system has no hard links, Show drops the former copy, and the next round writes the whole file again.
    [[maybe_unused]] const int linked = ::link(visible.c_str(), Former().c_str());
}

void SummaryCopies::Write(std::uint64_t before, const std::string& rows, std::uint64_t skipped) const {
    const Common::FileDescriptor file(OpenFile(hidden, O_RDWR | O_CREAT));
    const auto kept = std::min(SizeOf(hidden), before);
    if (kept < before) {
        Copy(visible, kept, before, file.Get(), kept, hidden);
    }
    const auto end = SizeOf(rows);
    Copy(rows, skipped, end, file.Get(), before, hidden);
    if (::ftruncate(file.Get(), static_cast<off_t>(before + end - skipped)) != 0 || ::fdatasync(file.Get()) != 0) {
        throw std::system_error(errno, std::generic_category(), hidden);
    }
}

void SummaryCopies::Show() const {
    Rename(hidden, visible);
    static_cast<void>(::rename(Former().c_str(), hidden.c_str()));
}

}  // namespace Live
