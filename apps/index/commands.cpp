#include "apps/index/commands.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
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

// Throws std::runtime_error with the wrapper library's answer, which is null after success.
void RequireSuccess(const std::string& path, const char* answer) {
    constexpr std::string_view kError = "ERROR: ";
    if (answer != nullptr) {
        const std::string_view text = answer;
        throw std::runtime_error(path + ": " +
                                 std::string(text.starts_with(kError) ? text.substr(kError.size()) : text));
    }
}

// How much of the reference the process has read; empty if the system does not say.
std::string ShareRead(std::uint64_t size) {
    constexpr std::uint64_t kPercent = 100;
    std::ifstream counts("/proc/self/io");
    std::string name;
    std::uint64_t bytes = 0;
    if (size == 0 || !(counts >> name >> bytes) || name != "rchar:") {
        return "";
    }
    return ": " + std::to_string(bytes < size ? bytes * kPercent / size : kPercent) + " %";
}

IndexPointer Load(const std::string& path, bool quiet, double& seconds) {
    std::error_code unknown;
    const auto size = fs::file_size(path, unknown);
    const Progress progress(quiet, "Reading " + path, [size = unknown ? 0 : size] { return ShareRead(size); });
    IndexPointer index(qelmm_load_index(path.c_str()));
    seconds = progress.Seconds();
    return index;
}

std::uint64_t Bases(const mm_idx_t& index) {
    std::uint64_t bases = 0;
    for (std::uint32_t i = 0; i < index.n_seq; ++i) {
        bases += index.seq[i].len;
    }
    return bases;
}

int WriteIndex(const Options& options) {
    RequireWritable(options.index, options.reference);
    RemoveUnfinishedOnSignals();
    double read_seconds = 0;
    double write_seconds = 0;
    const auto index = Load(options.reference, options.quiet, read_seconds);
    if (index == nullptr) {
        return kFailed;  // The wrapper library has named the reason.
    }
    {
        const Progress progress(options.quiet, "Writing " + options.index, [] { return std::string(); });
        RequireSuccess(options.index + ": could not be written", qelmm_write_index(index.get(), options.index.c_str()));
        write_seconds = progress.Seconds();
    }
    if (index->n_seq == 0) {
        std::cerr << "tavik_index: " + options.reference +
                         ": warning: it holds no sequences, so tavik_aligner will refuse " + options.index + "\n";
    }
    if (!options.quiet) {
        constexpr double kMega = 1e6;
        std::cout << options.index << ": " << index->n_seq << " sequences, " << Bases(*index) << " bases, "
                  << std::fixed << std::setprecision(1) << static_cast<double>(fs::file_size(options.index)) / kMega
                  << " MB; read in " << read_seconds << " s, written in " << write_seconds << " s\n";
    }
    return kDone;
}

// Throws if the file cannot be read at all, so that it is not called unsound.
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
        const Progress progress(options.quiet, "Checking " + options.index, [] { return std::string(); });
        RequireSuccess(options.index, qelmm_check_index(options.index.c_str()));
    }
    if (!options.quiet) {
        std::cout << options.index << ": sound\n";
    }
    return kDone;
}

int DescribeIndex(const Options& options) {
    qelmm_index_description description = {};
    RequireSuccess(options.index, qelmm_describe_index(options.index.c_str(), &description));
    double unused = 0;
    const auto index = Load(options.index, options.quiet, unused);
    if (index == nullptr) {
        return kFailed;
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
