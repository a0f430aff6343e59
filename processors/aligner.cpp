#include "processors/aligner.h"

#include <chrono>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <stdexcept>

#include <boost/filesystem/operations.hpp>

#include "common/logging/record.h"
#include "common/processor.h"
#include "common/summary_columns.h"
#include "common/version.h"
#include "processors/relative_path.h"
#include "processors/summary_row.h"
#include "third_party_alignment/align_read.h"
#include "third_party_alignment/minimap2_caller.h"
#include "third_party_alignment/sam_header.h"

namespace Tavik {

namespace fs = boost::filesystem;

namespace {

// The key in the map of outputs. The aligner writes only one output per input file.
constexpr char kSamOutput[] = "";

constexpr char kNoAsync[] = "Asynch alignment not yet supported!";

// The name of a read in its SAM lines and its summary row: the id up to the first white space, where minimap2 cuts it
// too. A tab in the name would shift the columns of both files.
std::string NameInTables(const std::string& read_id) {
    return read_id.substr(0, read_id.find_first_of("\t\n\v\f\r"));
}

// Writes the alignment lines of a SAM text, without header lines and empty lines.
void WriteAlignmentLines(const std::string& sam, OutputFile& file) {
    const auto begin = ThirdPartyAlignment::SamHeader::EndOfHeaderLines(sam);
    const std::string_view lines = std::string_view(sam).substr(begin);
    for (std::size_t start = 0; start < lines.size();) {
        const auto line_feed = lines.find('\n', start);
        if (line_feed == std::string_view::npos) {
            file.WriteLine(std::string(lines.substr(start)) + '\n');
            return;
        }
        if (line_feed > start) {
            file.WriteLine(lines.substr(start, line_feed + 1 - start));
        }
        start = line_feed + 1;
    }
}

// Locks a mutex that other threads hold only while they write the lines of one read, which takes a few microseconds.
// Waking a sleeping thread takes longer, so this thread spins for a while before it sleeps.
std::unique_lock<std::mutex> LockSoon(std::mutex& mutex) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::microseconds kLongestAwake{20};
    constexpr int kPauses = 8;
    std::unique_lock lock(mutex, std::try_to_lock);
    if (lock) {
        return lock;
    }
    for (const auto start = Clock::now(); !lock && Clock::now() - start < kLongestAwake;) {
        for (int i = 0; i < kPauses; ++i) {
            Common::PauseInLoop();
        }
        static_cast<void>(lock.try_lock());
    }
    if (!lock) {
        lock.lock();
    }
    return lock;
}

}  // namespace

void Aligner::DeclareProcessorOptions() {
    using Common::OptionFlags;
    AddOption("align_ref,a", "Path to alignment reference.", &align_ref, OptionFlags::Required);
    AddOption("min_coverage", "Minimum coverage to accept an alignment.", &min_coverage,
              OptionFlags::CommandLine | OptionFlags::ConfigFile);
    usage_text =
        "\nUsage:\n\n  tavik_aligner -i <input fastq path> -s <output SAM path>\n"
        "    --align_ref <reference file>\n\n";
}

std::string Aligner::GetLogFileName() {
    return "tavik_aligner.log";
}

std::string Aligner::GetSummaryFileName() {
    return Common::kSummaryFileName;
}

void Aligner::PrepareRun() {
    summary.WriteLine(SummaryHeader());
    try {
        LoadReference();
    } catch (const std::exception& error) {
        TAVIK_LOG(error) << "Failed to load index " << align_ref << " with error: " << error.what();
        std::exit(1);
    } catch (...) {
        TAVIK_LOG(error) << "Failed to load index " << align_ref;
        std::exit(1);
    }
    TAVIK_LOG(message) << "QEL Tavik alignment software version " << Common::kVersion
                       << "\ninput path:         " << input_path << "\nsave path:          " << save_path
                       << "\nalignment ref.:     " << align_ref << "\nmin. coverage:      " << min_coverage;
    TAVIK_LOG(info) << "Mapping with minimap2 " << ThirdPartyAlignment::Minimap2Caller::LibraryVersion();
}

void Aligner::LoadReference() {
    auto minimap2 = std::make_unique<ThirdPartyAlignment::Minimap2Caller>(align_ref);
    auto& loading = *minimap2;
    caller = std::move(minimap2);
    loading.LoadIndex();
    sam_header = loading.GetSamHeader() + "\n";
}

void Aligner::StartNewFile(const std::string& file) {
    const auto sam_path = SamPath(file);
    const auto folder = fs::path(sam_path).parent_path();
    boost::system::error_code unknown;
    const auto status = fs::status(folder, unknown);
    const bool missing = status.type() == fs::status_error || status.type() == fs::file_not_found;
    if (missing && !folder.empty()) {  // An empty path is the current folder.
        TAVIK_LOG(info) << "Creating output folder " << folder;
        fs::create_directories(folder);
    }
    if (!sam_paths_used.insert(sam_path).second) {
        TAVIK_LOG(warning) << "Input file " << file << " replaces the SAM file of an earlier input file: " << sam_path;
    }
    if (fs::equivalent(file, align_ref, unknown)) {
        TAVIK_LOG(warning) << "Input file " << file << " is the reference itself: its sequences are aligned as reads.";
    }
    if (fs::equivalent(file, sam_path, unknown)) {
        throw std::runtime_error("Its SAM file " + sam_path + " would replace it.");
    }
    auto& output = SamOutput();
    output.file.Open(sam_path);
    output.file.WriteLine(sam_header);
    output.read_count = 0;
}

std::string Aligner::SamPath(const std::string& file) const {
    auto name = input_path.empty() ? fs::path(file).filename() : RelativePath(file, input_path);
    return (fs::path(save_path) / name.replace_extension("sam")).string();
}

OutputEntry& Aligner::SamOutput() {
    const std::lock_guard lock(outputs_mutex);
    return outputs[kSamOutput];
}

int Aligner::ProcessRead(const Common::FastQRecord& record, const std::string& read_id) {
    const auto name = NameInTables(read_id);
    const auto result = ThirdPartyAlignment::AlignReadToLines(caller.get(), record.GetSequence(), name, min_coverage);
    const auto row = FormatSummaryRow(name, result);

    auto& output = SamOutput();
    const auto output_lock = LockSoon(output.mutex);
    ++output.read_count;
    WriteAlignmentLines(result.sam_record, output.file);
    // The summary is locked while the SAM output is locked, so that both files have the reads in the same order.
    const std::lock_guard summary_lock(summary_mutex);
    summary.WriteLine(row);
    TAVIK_LOG(verbose) << "Done with read " << read_id << ". Genome: " << result.genome;
    return 1;
}

void Aligner::ProcessReadAsync(const Common::FastQRecord& /*record*/, const std::string& /*read_id*/) {
    throw std::runtime_error(kNoAsync);
}

void Aligner::CollectAsyncResults() {
    throw std::runtime_error(kNoAsync);
}

}  // namespace Tavik
