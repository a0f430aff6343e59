#include "common/gzip_head_start.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "common/reads/input_file_source.h"
#include "common/sequencing_file.h"

namespace Common {

namespace {

// Changes when a file is replaced or written to. Programs can set back the time of the last write, but not the time of
// the last status change. All members are 0 if the path does not lead to a regular file.
struct Identity {
    dev_t device = 0;
    ino_t number = 0;
    off_t size = 0;
    time_t written = 0, changed = 0;
    long written_nanoseconds = 0, changed_nanoseconds = 0;

    bool operator==(const Identity&) const = default;
};

Identity IdentityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    return {status.st_dev,         status.st_ino,          status.st_size,        status.st_mtim.tv_sec,
            status.st_ctim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_nsec};
}

// For a smaller file, a head start saves too little time to be worth a thread.
constexpr off_t kSmallest = off_t{1} << 16U;

class FileSource : public GzipSource {
public:
    explicit FileSource(const std::string& path) : file(path) {}

    // Makes the next read fail, so that the thread ends soon even while the decoder skips long padding. Any thread may
    // call it.
    void Discard() { discarded = true; }

    std::size_t Read(unsigned char* buffer, std::size_t size) override {
        if (discarded) {
            throw std::runtime_error("discarded");
        }
        const auto got = file.read(reinterpret_cast<char*>(buffer), static_cast<std::streamsize>(size));
        return got < 0 ? 0 : static_cast<std::size_t>(got);
    }
    bool Seek(std::uint64_t position) override {
        const auto offset = static_cast<boost::iostreams::stream_offset>(position);
        return file.seek(offset, std::ios_base::beg) == std::streampos(offset);
    }

private:
    InputFileSource file;
    std::atomic<bool> discarded = false;
};

}  // namespace

struct GzipHeadStart::State {
    State(const std::string& path, std::size_t most) : path(path), most(most), source(path) {}

    void Run();
    void Stop(std::thread& thread);

    const std::string path;
    const std::size_t most;
    const Identity identity = IdentityOf(path);
    std::atomic<bool> stopping = false;

    // Used by the thread until it is joined, then by the owner.
    FileSource source;
    GzipDecoder decoder;
    std::unique_ptr<char[]> text;  // `most` bytes, not initialised, so only the filled part takes memory.
    std::size_t filled = 0;
    std::size_t taken = 0;
    std::string_view left;  // The decoded text that did not fit into `text`.
    bool sound = false;     // True if the thread has ended without an exception.
};

void GzipHeadStart::State::Run() {
    try {
        text.reset(new char[most]);
        while (!stopping && left.empty()) {
            const auto piece = decoder.Next(source);
            if (piece.empty()) {
                break;
            }
            const auto fitting = std::min(piece.size(), most - filled);
            std::memcpy(text.get() + filled, piece.data(), fitting);
            filled += fitting;
            left = piece.substr(fitting);
        }
        sound = true;
    } catch (...) {
        // TakeOver then returns false, so the owner reads the file from its start and finds any read error itself.
    }
}

void GzipHeadStart::State::Stop(std::thread& thread) {
    stopping = true;
    if (thread.joinable()) {
        thread.join();
    }
}

GzipHeadStart::GzipHeadStart(const std::string& path, std::size_t most) : state(std::make_unique<State>(path, most)) {
    if (state->identity.size < kSmallest) {
        return;
    }
    try {
        thread = std::thread(&State::Run, state.get());
    } catch (const std::system_error&) {
        // Without the thread, TakeOver returns false.
    }
}

GzipHeadStart::~GzipHeadStart() {
    state->source.Discard();
    state->Stop(thread);
}

const std::string& GzipHeadStart::Path() const {
    return state->path;
}

bool GzipHeadStart::TakeOver() {
    state->Stop(thread);
    return state->sound && state->identity == IdentityOf(state->path);
}

std::string_view GzipHeadStart::Next() {
    if (state->taken < state->filled) {
        const auto begin = std::exchange(state->taken, state->filled);
        return {state->text.get() + begin, state->filled - begin};
    }
    state->text.reset();
    if (!state->left.empty()) {
        return std::exchange(state->left, {});
    }
    return state->decoder.Next(state->source);
}

const GzipDecoder& GzipHeadStart::Decoder() const {
    return state->decoder;
}

void GzipHeadStarts::Prepare(const std::vector<std::string>& files, std::size_t index) {
    current = index;
    while (!waiting.empty() && waiting.front().first < current) {
        waiting.pop_front();  // The file failed before its head start was taken.
    }
    considered = std::max(considered, index + 1);
    for (; considered < files.size() && considered <= index + count; ++considered) {
        if (!HasReadFileExtension(files[considered])) {
            try {
                waiting.emplace_back(considered, std::make_unique<GzipHeadStart>(files[considered], most));
            } catch (const std::bad_alloc&) {
                // The file is read without a head start.
            }
        }
    }
}

std::unique_ptr<GzipHeadStart> GzipHeadStarts::Take(const std::string& path) {
    if (waiting.empty() || waiting.front().first != current || waiting.front().second->Path() != path) {
        return nullptr;
    }
    auto head_start = std::move(waiting.front().second);
    waiting.pop_front();
    return head_start->TakeOver() ? std::move(head_start) : nullptr;
}

}  // namespace Common
