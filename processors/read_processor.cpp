#include "processors/read_processor.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <utility>

#include <boost/filesystem/path.hpp>
#include <boost/timer/progress_display.hpp>

#include "common/logging/record.h"
#include "common/sequencing_file.h"
#include "common/threaded_loop.h"
#include "processors/input_files.h"

namespace Tavik {

namespace fs = boost::filesystem;

namespace {

// The "Function" attribute of ContainRead's log records.
constexpr char kJobOrigin[] = "lambda [](Common::FastQRecord &)->int::operator()(Common::FastQRecord &)->int";

constexpr int kSubmitAttempts = 10;

// One thread inflates text faster than eight workers align it (docs/performance.md).
constexpr int kWorkersPerHeadStart = 8;
constexpr int kMostHeadStarts = 8;
constexpr std::size_t kHeadStartBytes = std::size_t{64} << 20U;

std::int64_t Milliseconds(std::chrono::steady_clock::time_point instant) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(instant.time_since_epoch()).count();
}

std::vector<std::string> ReadPathList(std::istream& stream) {
    std::vector<std::string> paths;
    for (std::string line; std::getline(stream, line);) {
        paths.push_back(line);
    }
    return paths;
}

}  // namespace

ReadProcessor::ReadProcessor() = default;

ReadProcessor::~ReadProcessor() = default;

void ReadProcessor::DeclareOptions() {
    using Common::OptionFlags;
    const unsigned both = OptionFlags::CommandLine | OptionFlags::ConfigFile;
    const unsigned required = OptionFlags::CommandLine | OptionFlags::Required;

    AddOption("quiet,z", "Quiet mode. Nothing will be output to stdout if this option is set.", &quiet,
              OptionFlags::Flag);
    AddOption("worker_threads,t", "Number of worker threads.", &worker_threads, both);
    AddOption("input_path,i", "Path to input fastq files.", &input_path, required);
    AddOption("save_path,s", "Path to save fastq files.", &save_path, required);
    AddOption("recursive,r", "Search for input file recursively.", &recursive, OptionFlags::Flag);
    AddOption("trace_categories_logs", "Enable trace logs - list of strings with the desired names.", &trace_categories,
              both);
    AddOption("verbose_logs", "Enable verbose logs.", &verbose_logs, OptionFlags::Flag);
    DeclareProcessorOptions();
}

bool ReadProcessor::ValidateParams() {
    if (worker_threads == 0) {
        TAVIK_LOG(error) << "Invalid number of threads: " << worker_threads;
        return false;
    }
    return true;
}

int ReadProcessor::Run() {
    summary.Open((fs::path(save_path) / GetSummaryFileName()).string());
    PrepareRun();
    try {
        const auto files = FindInputFiles();
        if (!quiet) {
            std::cout << std::endl;
            TAVIK_LOG(message) << "Found " << files.size() << " fastq files.";
            progress = std::make_unique<boost::timer::progress_display>(std::max<std::size_t>(files.size(), 1));
        }
        const auto start = std::chrono::steady_clock::now();
        ProcessFiles(files);
        const auto end = std::chrono::steady_clock::now();
        TAVIK_LOG(message) << "Done in " << Milliseconds(end) - Milliseconds(start) << " ms.";
        return 0;
    } catch (const std::exception& error) {
        if (!quiet) {
            std::cout << std::endl;
        }
        TAVIK_LOG(error) << error.what() << ". Exiting.";
        return -1;
    }
}

std::vector<std::string> ReadProcessor::FindInputFiles() const {
    if (input_path.empty()) {
        return ReadPathList(std::cin);
    }
    std::string folder = input_path;
    if (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    auto files = FindReadFiles(folder, recursive);
    if (files.compressed != 0) {
        const auto text = "Gzip-compressed read files ignored in " + folder + ": " + std::to_string(files.compressed) +
                          ". To read them, give a list of their paths on standard input (-i \"\").";
        if (files.plain.empty()) {
            TAVIK_LOG(warning) << text;
        } else {
            TAVIK_LOG(message) << text;  // Not a warning: the compressed files are often copies of the plain ones.
        }
    }
    return std::move(files.plain);
}

void ReadProcessor::ProcessFiles(const std::vector<std::string>& files) {
    const auto count = std::clamp(worker_threads / kWorkersPerHeadStart, 0, kMostHeadStarts);
    head_starts = std::make_unique<Common::GzipHeadStarts>(count, kHeadStartBytes);
    for (std::size_t i = 0; i < files.size(); ++i) {
        const auto& file = files[i];
        head_starts->Prepare(files, i);
        if (asynchronous) {
            ProcessSequencingFileAsync(file);
        } else {
            ProcessSequencingFile(file);
        }
    }
}

int ReadProcessor::ProcessSequencingFile(const std::string& file) {
    const Common::RecordJob job = [this](Common::FastQRecord& record) {
        return ContainRead(record, [this](const Common::FastQRecord& read, const std::string& read_id) {
            return ProcessRead(read, read_id);
        });
    };
    return ContainFile(file, __PRETTY_FUNCTION__, [&](Common::SequencingFileAdapter& reads) {
        Common::ThreadedLoop<Common::SequencingFileAdapter>(&reads, &job, worker_threads, kSubmitAttempts).Run(true);
    });
}

int ReadProcessor::ProcessSequencingFileAsync(const std::string& file) {
    const ReadWork work = [this](const Common::FastQRecord& read, const std::string& read_id) {
        ProcessReadAsync(read, read_id);
        return 1;
    };
    return ContainFile(file, __PRETTY_FUNCTION__, [&](Common::SequencingFileAdapter& reads) {
        const auto end = Common::SequencingFileAdapter::end();
        for (auto record = reads.begin(); !(record == end); ++record) {
            ContainRead(*record, work);
        }
        CollectAsyncResults();
    });
}

int ReadProcessor::ContainFile(const std::string& file, const char* origin,
                               const std::function<void(Common::SequencingFileAdapter&)>& process_reads) {
    TAVIK_LOG_FROM(info, origin) << "Starting input file " << file;
    int count = -1;
    try {
        outputs.clear();
        StartNewFile(file);
        boost::iostreams::filtering_istream stream;
        Common::OpenSequencingFile(file, stream, head_starts ? head_starts->Take(file) : nullptr);
        Common::SequencingFileAdapter reads(stream, file);
        process_reads(reads);
        Common::CheckEndOfSequencingFile(stream);
        count = 0;
        for (const auto& [name, output] : outputs) {
            count += output.read_count;
        }
        TAVIK_LOG_FROM(info, origin) << "Successfully finished input file " << file << " (" << count << " reads)";
    } catch (const std::exception& error) {
        TAVIK_LOG_FROM(error, origin) << "Error while processing input file " << file << ": " << error.what()
                                      << " Will continue with next input file.";
    } catch (...) {
        TAVIK_LOG_FROM(error, origin) << "Error while processing input file " << file
                                      << ". Will continue with next input file.";
    }
    if (progress) {
        ++*progress;
    }
    return count;
}

int ReadProcessor::ContainRead(const Common::FastQRecord& record, const ReadWork& work) const {
    if (record.GetTitle().empty() && record.GetSequence().empty()) {
        return -1;  // Not a read: usually blank lines at the end of the file.
    }
    std::string read_id = Common::kInvalidReadId;  // For the message if GetReadId throws because the title is empty.
    try {
        read_id = record.GetReadId();
        if (read_id == Common::kInvalidReadId) {
            return -1;
        }
        if (log_reads) {
            TAVIK_LOG_FROM(verbose, kJobOrigin) << "Starting to process read: " << read_id;
        }
        return work(record, read_id);
    } catch (const std::exception& error) {
        TAVIK_LOG_FROM(error, kJobOrigin)
            << "Error while processing read " << read_id << ": " << error.what() << " Continuing with next read.";
    } catch (...) {
        TAVIK_LOG_FROM(error, kJobOrigin)
            << "Error while processing read " << read_id << ". Continuing with next read.";
    }
    return -1;
}

}  // namespace Tavik
