#include "qel_minimap2/kernel/scratch.h"

#include <algorithm>
#include <array>
#include <exception>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "qel_minimap2/pages.h"

namespace qel_minimap2::kernel {

namespace {

// The size of the largest buffer that is kept, in bytes. Base alignment uses its buffers hundreds of times per read,
// and needs megabytes for ordinary reads. Chaining and joining use their buffers only a few times per read.
constexpr std::size_t kKept = std::size_t{16} << 20;
constexpr std::size_t kKeptOfChains = std::size_t{2} << 20;

constexpr std::size_t Kept(std::size_t use) {
    return use < static_cast<std::size_t>(Scratch::chaining) ? kKept : kKeptOfChains;
}

using Buffers = std::array<Pages, static_cast<std::size_t>(Scratch::reach_tree) + 1>;

// The aligner starts new threads for each input file. A new thread takes the buffers of a thread that has ended, which
// is faster than getting new pages.
class EndedThreads {
public:
    Buffers Take() noexcept {
        const std::lock_guard lock(mutex);
        if (idle.empty()) {
            return {};
        }
        auto last = std::move(idle.back());
        idle.pop_back();
        return last;
    }
    void Add(Buffers&& buffers) noexcept {
        try {
            const std::lock_guard lock(mutex);
            idle.push_back(std::move(buffers));
        } catch (const std::exception&) {
            // There is no memory for the list, so the buffers are freed.
        }
    }
    void Clear() {
        const std::lock_guard lock(mutex);
        idle.clear();
    }

private:
    std::mutex mutex;
    std::vector<Buffers> idle;  // Guarded by mutex.
};

EndedThreads ended_threads;

struct BuffersOfThread {
    BuffersOfThread() = default;
    ~BuffersOfThread() { ended_threads.Add(std::move(buffers)); }
    BuffersOfThread(const BuffersOfThread&) = delete;
    BuffersOfThread& operator=(const BuffersOfThread&) = delete;

    Buffers buffers = ended_threads.Take();
};

Buffers& OfThisThread() noexcept {
    thread_local BuffersOfThread own;
    return own.buffers;
}

}  // namespace

std::uint8_t* ScratchMemory(Scratch use, std::size_t bytes) noexcept {
    const auto number = static_cast<std::size_t>(use);
    auto& buffer = OfThisThread()[number];
    if (buffer.Size() < bytes) {
        buffer = Pages();  // Freed first, so that the old and the new memory never exist together.
        try {
            // A buffer gets room to grow, but not so much that TrimScratch frees it.
            buffer = Pages(std::max(bytes, std::min(bytes + bytes / 4, Kept(number))));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    return buffer.Data();
}

void TrimScratch() noexcept {
    auto& buffers = OfThisThread();
    for (std::size_t use = 0; use < buffers.size(); ++use) {
        if (buffers[use].Size() > Kept(use)) {
            buffers[use] = Pages();
        }
    }
}

void FreeIdleScratch() {
    ended_threads.Clear();
}

}  // namespace qel_minimap2::kernel
