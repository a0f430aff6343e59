#include "apps/index/target.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <unistd.h>

#include "qel_minimap2/index/mapped/index_format.h"
#include "qel_minimap2/index/mapped/link_target.h"
#include "qel_minimap2/qel_minimap2.h"

namespace Indexing {

namespace fs = std::filesystem;

extern "C" {

static void RemoveAndEnd(int signal) {
    qelmm_remove_unfinished_indexes();
    // SA_RESETHAND has restored the default action, so the parent sees that the signal ended the process.
    static_cast<void>(std::raise(signal));
}
}

namespace {

// Throws std::runtime_error if the file cannot be read.
bool IsEmptyOrIndex(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios_base::binary);
    std::array<char, qel_minimap2::kMappedMagic.size()> magic{};
    file.read(magic.data(), magic.size());
    if (!file && !file.eof()) {
        throw std::runtime_error(path + ": could not be read: " + std::generic_category().message(errno));
    }
    return file.gcount() == 0 || magic == qel_minimap2::kMappedMagic;
}

}  // namespace

void RequireWritable(const std::string& path, const std::string& reference) {
    const auto fail = [&](const std::string& reason) { throw std::runtime_error(path + ": " + reason); };
    std::error_code error;
    const auto status = fs::status(path, error);
    if (fs::is_directory(status)) {
        fail("is a folder");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        fail("is not a regular file");
    }
    if (fs::exists(status) && fs::equivalent(path, reference, error)) {
        fail("is the reference itself");
    }
    // The user may have swapped the two paths.
    if (fs::exists(status) && !IsEmptyOrIndex(path)) {
        fail("is not an index made by tavik_index, so it is not replaced");
    }
    // The new index replaces the target of a symbolic link, so the target's folder must be writable.
    const auto folder = fs::path(qel_minimap2::LinkTarget(path, error)).parent_path();
    if (error || ::access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0) {
        const auto reason = error ? error : std::error_code(errno, std::generic_category());
        fail("could not be written: " + reason.message());
    }
}

void RemoveUnfinishedOnSignals() {
    struct sigaction action = {};
    action.sa_handler = RemoveAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction before = {};
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}

}  // namespace Indexing
