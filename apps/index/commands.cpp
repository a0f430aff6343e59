#include "apps/index/commands.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "apps/index/progress.h"
#include "apps/index/target.h"
#include "qel_minimap2/qel_minimap2.h"

namespace Indexing {

namespace fs = std::filesystem;

namespace {

struct UnloadIndex {
    void operator()(mm_idx_t* index) const { qelmm_unload_index(index); }
};
using IndexPointer = std::unique_ptr<mm_idx_t, UnloadIndex>;

// `answer`: null, or an error text from the wrapper library. For an error text, throws
// std::runtime_error; its message is `before` followed by the text without "ERROR: ".
void RequireSuccess(const char* answer, const std::string& before = "") {
    constexpr std::string_view kError = "ERROR: ";
    if (answer != nullptr) {
        const std::string_view text = answer;
        throw std::runtime_error(before + std::string(text.starts_with(kError) ? text.substr(kError.size()) : text));
    }
}

qelmm_index_description Described(const std::string& path) {
    qelmm_index_description description = {};
    RequireSuccess(qelmm_describe_index(path.c_str(), &description), path + ": ");
    return description;
}

// The counter `name` of this process in /proc/self/io, in bytes; 0 if the file cannot be read.
std::uint64_t CountOf(std::string_view name) {
    std::ifstream counts("/proc/self/io");
    std::string found;
    std::uint64_t bytes = 0;
    while (counts >> found >> bytes && found != name) {
    }
    return counts ? bytes : 0;
}

// Returns what the program is doing and how far it has got. If /proc/self/io cannot be read, returns "Reading" and the
// reference throughout.
std::string Stage(const Options& options, std::uint64_t reference_size) {
    constexpr std::uint64_t kPercent = 100, kMega = 1'000'000;
    const auto read = CountOf("rchar:"), written = CountOf("wchar:") / kMega;
    if (written > 0) {
        return "Writing " + options.index + ": " + std::to_string(written) + " MB";
    }
    return "Reading " + options.reference +
           (read > 0 && reference_size > 0
                ? ": " + std::to_string(std::min(read * kPercent / reference_size, kPercent)) + " %"
                : "");
}

// Describes the index just written. If the file cannot be read back, only prints a warning, because writing it has
// succeeded.
std::optional<qelmm_index_description> DescribedIfReadable(const std::string& path) {
    try {
        return Described(path);
    } catch (const std::exception& error) {
        std::cerr << std::string("tavik_index: warning: the index was written, but cannot be read: ") + error.what() +
                         "\n";
        return std::nullopt;
    }
}

int WriteIndex(const Options& options) {
    RequireWritable(options.index, options.reference);
    RemoveUnfinishedOnSignals();
    std::error_code unknown;
    const auto size = fs::file_size(options.reference, unknown);
    double seconds = 0;
    {
        const Progress progress(options.quiet, [&] { return Stage(options, unknown ? 0 : size); });
        RequireSuccess(qelmm_make_index(options.reference.c_str(), options.index.c_str()));
        seconds = progress.Seconds();
    }
    const auto made = DescribedIfReadable(options.index);
    if (made && made->sequences == 0) {
        std::cerr << "tavik_index: " + options.reference +
                         ": warning: it contains no sequences, so tavik_aligner will refuse " + options.index + "\n";
    }
    if (!options.quiet) {
        constexpr double kMega = 1e6;
        std::cout << options.index << ": " << std::fixed << std::setprecision(1);
        if (made) {
            std::cout << made->sequences << (made->sequences == 1 ? " sequence, " : " sequences, ") << made->bases
                      << " bases, " << static_cast<double>(made->file_size) / kMega << " MB; ";
        }
        std::cout << "made in " << seconds << " s\n";
    }
    return kDone;
}

// Throws std::runtime_error if the file cannot be read at all: nothing is then known about the index, so the exit
// status must not call it unsound.
void RequireReadable(const std::string& path) {
    std::error_code error;
    const auto status = fs::status(path, error);
    if (fs::is_directory(status)) {
        throw std::runtime_error(path + ": is a folder");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw std::runtime_error(path + ": is not a regular file");
    }
    errno = 0;
    if (!std::ifstream(path)) {
        throw std::runtime_error(path + ": " + std::generic_category().message(errno));
    }
}

int CheckIndex(const Options& options) {
    {
        const Progress progress(options.quiet, [&] { return "Checking " + options.index; });
        RequireSuccess(qelmm_check_index(options.index.c_str()), options.index + ": ");
    }
    if (!options.quiet) {
        std::cout << options.index << ": sound\n";
    }
    return kDone;
}

int DescribeIndex(const Options& options) {
    const auto description = Described(options.index);
    const IndexPointer index(qelmm_load_index(options.index.c_str()));
    if (index == nullptr) {
        return kFailed;  // The wrapper library has printed the reason.
    }
    if (options.quiet) {
        return kDone;
    }
    std::cout << "format version\t" << description.version << "\nk-mer length\t" << description.k << "\nwindow\t"
              << description.window << "\nhomopolymer-compressed\t"
              << (description.is_homopolymer_compressed != 0 ? "yes" : "no") << "\nbucket bits\t"
              << description.bucket_bits << "\nsequences\t" << description.sequences << "\nbases\t" << description.bases
              << "\ndifferent minimizers\t" << description.minimizers << "\nfile size\t" << description.file_size
              << '\n';
    for (std::uint32_t i = 0; i < description.section_count; ++i) {
        const auto& section = description.sections[i];
        std::cout << "section " << section.name << '\t' << section.length << '\n';
    }
    for (std::uint32_t i = 0; i < index->n_seq; ++i) {
        std::cout << "sequence " << index->seq[i].name << '\t' << index->seq[i].len << '\n';
    }
    return kDone;
}

}  // namespace

int Execute(const Options& options) {
    qelmm_set_threads(static_cast<unsigned>(options.threads));
    if (options.task == Task::write) {
        return WriteIndex(options);
    }
    try {
        RequireReadable(options.index);
    } catch (const std::exception& error) {
        std::cerr << "tavik_index: " << error.what() << '\n';
        return kWrongUsage;
    }
    return options.task == Task::check ? CheckIndex(options) : DescribeIndex(options);
}

}  // namespace Indexing
