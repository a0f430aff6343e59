#include "qel_minimap2/index/index_loading.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <iostream>
#include <latch>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_set>
#include <vector>

#include "qel_minimap2/index/index_file.h"
#include "qel_minimap2/index/reference_index.h"
#include "qel_minimap2/index/reference_reader.h"

namespace qel_minimap2 {

namespace {

struct CloseReader {
    void operator()(mm_idx_reader_t* reader) const { mm_idx_reader_close(reader); }
};

void RequireRegularFile(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status)) {
        throw std::runtime_error("is a folder");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw std::runtime_error(error ? error.message() : "is not a regular file");
    }
}

// As many threads as there are cores, or as the system lets us start: minimap2 does not look whether its own
// ones start, and ends in a crash when they do not.
int StartableThreads() {
    std::latch all_started(1);
    std::vector<std::jthread> threads;
    try {
        do {
            threads.emplace_back([&all_started] { all_started.wait(); });
        } while (threads.size() < std::thread::hardware_concurrency());
    } catch (const std::exception& error) {  // Those that did start wait for the latch: they must be let go.
        if (threads.empty()) {
            throw std::runtime_error(std::string("no thread can be started to index it: ") + error.what());
        }
    }
    all_started.count_down();
    return static_cast<int>(threads.size());
}

void WarnOfDuplicateName(const mm_idx_t& index, const std::string& path) {
    std::unordered_set<std::string_view> names;
    names.reserve(index.n_seq);
    for (std::uint32_t i = 0; i < index.n_seq; ++i) {
        if (!names.insert(index.seq[i].name).second) {
            std::cerr << "libqel_minimap2: " + path + ": warning: several sequences are named '" + index.seq[i].name +
                             "'; records and figures cannot tell them apart\n"
                      << std::flush;
            return;
        }
    }
}

// Has the library index a reference.
IndexPointer IndexWithLibrary(const std::string& path, mm_idxopt_t options) {
    CheckReferenceFile(path);
    options.batch_size = std::numeric_limits<std::int64_t>::max();  // One part, whatever the size.
    const std::unique_ptr<mm_idx_reader_t, CloseReader> reader(mm_idx_reader_open(path.c_str(), &options, nullptr));
    if (!reader) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
    IndexPointer index(mm_idx_reader_read(reader.get(), StartableThreads()));
    if (!index) {
        throw std::runtime_error("minimap2 could not read it");
    }
    return index;
}

}  // namespace

IndexPointer LoadIndex(const char* given_path, bool with_seed_table, const mm_idxopt_t& options) {
    // minimap2 takes "-" for standard input.
    const std::string path = std::string(given_path) == "-" ? "./-" : given_path;
    RequireRegularFile(path);
    auto index = HasIndexMagic(path)                             ? LoadIndexFile(path, with_seed_table)
                 : with_seed_table && CanIndexReference(options) ? IndexReference(path, options)
                                                                 : IndexWithLibrary(path, options);
    WarnOfDuplicateName(*index, path);
    return index;
}

}  // namespace qel_minimap2
