// Measures the reading of input files.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <benchmark/benchmark.h>
#include <boost/iostreams/device/file.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filtering_stream.hpp>

#include "common/gzip_head_start.h"
#include "common/sequencing_file.h"
#include "common/sequencing_file_adapter.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

constexpr std::size_t kBases = 4'000'000;

// Returns the same reads, all of one length, in every run. Qualities have 16 values, so they compress about as well as
// real ones.
std::string FastQText(std::size_t read_length) {
    unsigned random = 1;
    std::string text;
    for (std::size_t i = 0; i < kBases / read_length; ++i) {
        text += "@read" + std::to_string(i) + " runid=micro ch=1\n";
        text += Tests::RandomBases(random, read_length) + "\n+\n";
        for (std::size_t base = 0; base < read_length; ++base) {
            random = random * 1664525U + 1013904223U;
            text += static_cast<char>('$' + (random >> 28U));
        }
        text += '\n';
    }
    return text;
}

// Two files with the same reads, one plain and one gzip. The destructor removes them.
class ReadFiles {
public:
    explicit ReadFiles(std::size_t read_length) : text(FastQText(read_length)) {
        folder.Write("reads.fastq", text);
        boost::iostreams::filtering_ostream stream;
        stream.push(boost::iostreams::gzip_compressor());
        stream.push(boost::iostreams::file_sink(folder.Path("reads.fastq.gz"), std::ios_base::binary));
        stream << text;
    }
    std::string Path(const std::string& name) const { return folder.Path(name); }
    std::size_t TextSize() const { return text.size(); }

private:
    const Tests::TemporaryFolder folder;
    const std::string text;
};

std::size_t CountReads(const std::string& path, std::unique_ptr<Common::GzipHeadStart> head_start) {
    boost::iostreams::filtering_istream stream;
    Common::OpenSequencingFile(path, stream, std::move(head_start));
    Common::SequencingFileAdapter reads(stream);
    std::size_t count = 0;
    const auto end = Common::SequencingFileAdapter::end();
    for (auto record = reads.begin(); !(record == end); ++record) {
        ++count;
    }
    return count;
}

// Waits until no other thread of this process is working.
void WaitUntilIdle() {
    constexpr std::clock_t kOfThisThread = CLOCKS_PER_SEC / 1000;
    std::clock_t before = 0;
    do {
        before = std::clock();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    } while (std::clock() - before > kOfThisThread);
}

// The processor time shown is that of the reading thread, without that of a head start.
void ReadFastQ(benchmark::State& state, const char* name, bool with_head_start) {
    const auto read_length = static_cast<std::size_t>(state.range(0));
    const ReadFiles files(read_length);
    const auto path = files.Path(name);
    for ([[maybe_unused]] auto _ : state) {
        std::unique_ptr<Common::GzipHeadStart> head_start;
        if (with_head_start) {
            state.PauseTiming();
            head_start = std::make_unique<Common::GzipHeadStart>(path, 4 * kBases);
            WaitUntilIdle();
            state.ResumeTiming();
            if (!head_start->TakeOver()) {
                state.SkipWithError("no head start");
                break;
            }
        }
        if (CountReads(path, std::move(head_start)) != kBases / read_length) {
            state.SkipWithError("reads are missing");
            break;
        }
    }
    // Bytes per second of the file and of its uncompressed text.
    const auto rate = benchmark::Counter::kIsIterationInvariantRate;
    state.counters["file_bytes"] = {static_cast<double>(std::filesystem::file_size(path)), rate};
    state.counters["text_bytes"] = {static_cast<double>(files.TextSize()), rate};
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBases / read_length));
}
BENCHMARK_CAPTURE(ReadFastQ, plain, "reads.fastq", false)->Arg(300)->Arg(8000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadFastQ, gzip, "reads.fastq.gz", false)->Arg(300)->Arg(8000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadFastQ, head_start, "reads.fastq.gz", true)
    ->Arg(300)
    ->Arg(8000)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);

}  // namespace
