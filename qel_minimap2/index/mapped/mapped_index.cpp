#include "qel_minimap2/index/mapped/mapped_index.h"

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <sys/uio.h>
#include <unistd.h>

#include "common/file_identity.h"
#include "qel_minimap2/index/mapped/index_format.h"
#include "qel_minimap2/index/mapped/mapped_file.h"
#include "qel_minimap2/index/mapped/mapped_layout.h"
#include "qel_minimap2/index/mapped/table_check.h"
#include "qel_minimap2/index/seed_table.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

bool HasMappedMagic(const std::string& path) {
    return StoredFile(path).Start(kMappedMagic.size()) == std::string(kMappedMagic.begin(), kMappedMagic.end());
}

namespace {

void RequireMappedIndex(const std::string& path) {
    if (!HasMappedMagic(path)) {
        throw std::runtime_error("is not an index that tavik_index made");
    }
}

// Returns whether the process that started this one states that the file has already matched its checksums.
bool WasChecked(const MappedFile& file) {
    const char* const checked = std::getenv(Common::kCheckedIndex);
    return checked != nullptr && file.Identity() == checked;
}

MappedLayout CheckedLayout(const MappedFile& file, bool was_checked) {
    MappedLayout layout(file.Bytes());
    if (!was_checked) {
        file.ExpectReadingInOrder(true);
        layout.CheckChecksums();
        file.ExpectReadingInOrder(false);
    }
    layout.CheckContent();
    return layout;
}

// A mapped file whose content matched its checksums when it was opened, or earlier in another process.
class CheckedFile : public ForeignMemory {
public:
    explicit CheckedFile(const std::string& path)
        : path(path), file(path), layout(CheckedLayout(file, WasChecked(file))), known_time(file.Opened().modified) {}

    CheckedFile(const CheckedFile&) = delete;
    CheckedFile& operator=(const CheckedFile&) = delete;
    // Looks once more, because reads may have been aligned since the latest look.
    ~CheckedFile() override { Look(); }

    const MappedLayout& Layout() const { return layout; }
    // A look takes almost a hundredth of the time that aligning a short read takes. Looks are therefore limited to one
    // for each tick of a coarse clock, which is cheap to read.
    void RequireUnchanged() const override {
        constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
        timespec time{};
        ::clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        const auto now = time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
        if (last_look.load(std::memory_order_relaxed) != now) {
            last_look = now;
            Look();
        }
    }

private:
    void Look() const {
        if (!IsKnown(file.Now())) {
            const std::lock_guard lock(checking);
            CheckAgain();
        }
    }
    bool IsKnown(const std::optional<MappedFile::State>& now) const {
        return !now || *now == MappedFile::State{file.Bytes().size(), known_time};
    }
    // Compares the content with its checksums, because the file's time can change while the content stays the same:
    // through touch(1), or when the file system later rounds it.
    void CheckAgain() const {
        const auto now = file.Now();
        if (IsKnown(now)) {
            return;
        }
        try {
            if (now->size != file.Bytes().size()) {
                End(kWrittenTo);
            }
            layout.CheckChecksums();
            known_time = now->modified;
        } catch (const std::bad_alloc&) {
            End("out of memory");
        } catch (const std::exception&) {
            End(kWrittenTo);
        }
    }
    static constexpr std::string_view kWrittenTo = "the index was written to while it was in use";
    // Allocates no memory, because there may be none.
    [[noreturn]] void End(std::string_view reason) const {
        const auto part = [](std::string_view text) { return iovec{const_cast<char*>(text.data()), text.size()}; };
        const iovec parts[] = {part("libqel_minimap2: "), part(path), part(": "), part(reason),
                               part("; the process ends\n")};
        static_cast<void>(!::writev(STDERR_FILENO, parts, std::size(parts)));
        ::_exit(1);  // Destructors called by exit would free what other threads still use.
    }

    const std::string path;
    const MappedFile file;
    const MappedLayout layout;
    mutable std::mutex checking;
    mutable std::atomic<std::int64_t> last_look = -1;  // In nanoseconds of the coarse clock.
    mutable std::atomic<std::int64_t> known_time;      // The `modified` of the latest State whose content was checked.
};

}  // namespace

FileHeader HeaderOf(const std::string& path) {
    RequireMappedIndex(path);
    const StoredFile file(path);
    const auto start = file.Start(sizeof(FileHeader));
    return CheckedHeader({reinterpret_cast<const unsigned char*>(start.data()), start.size()}, file.Size());
}

void CheckIndex(const std::string& path) {
    RequireMappedIndex(path);
    const MappedFile file(path);
    CheckTable(CheckedLayout(file, false));
}

IndexPointer MapIndex(const std::string& path) {
    auto file = std::make_shared<const CheckedFile>(path);
    const auto& layout = file->Layout();
    const auto& header = layout.Header().index;
    auto parts = layout.Table();
    parts.owner = file;
    auto table = std::make_unique<const SeedTable>(header.k, header.bucket_bits, std::move(parts));
    return MakeIndex(header, layout.Names(), layout.Lengths().data(), std::move(table), layout.Bases().data());
}

}  // namespace qel_minimap2
