// Measures the reading of input files.

#include <cstddef>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>
#include <boost/iostreams/device/file.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filtering_stream.hpp>

#include "common/sequencing_file.h"
#include "common/sequencing_file_adapter.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

constexpr int kReads = 500;
constexpr std::size_t kReadLength = 4000;

// The same 4 MB of reads in every run. Qualities have 16 values, so they compress about as well as real ones.
std::string FastQText() {
    unsigned random = 1;
    std::string text;
    for (int i = 0; i < kReads; ++i) {
        text += "@read" + std::to_string(i) + " runid=micro ch=1\n";
        text += Tests::RandomBases(random, kReadLength) + "\n+\n";
        for (std::size_t base = 0; base < kReadLength; ++base) {
            random = random * 1664525U + 1013904223U;
            text += static_cast<char>('$' + (random >> 28U));
        }
        text += '\n';
    }
    return text;
}

// The reads as a plain and as a gzip file, which are removed when the program ends.
class ReadFiles {
public:
    ReadFiles() {
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
    const std::string text = FastQText();
};

int CountReads(const std::string& path) {
    boost::iostreams::filtering_istream stream;
    Common::OpenSequencingFile(path, stream);
    Common::SequencingFileAdapter reads(stream);
    int count = 0;
    const auto end = Common::SequencingFileAdapter::end();
    for (auto record = reads.begin(); !(record == end); ++record) {
        ++count;
    }
    return count;
}

void ReadFastQ(benchmark::State& state, const char* name) {
    static const ReadFiles files;
    const auto path = files.Path(name);
    for ([[maybe_unused]] auto _ : state) {
        if (CountReads(path) != kReads) {
            state.SkipWithError("reads are missing");
            break;
        }
    }
    // Bytes per second, of the file and of its uncompressed text.
    const auto rate = benchmark::Counter::kIsIterationInvariantRate;
    state.counters["file_bytes"] = {static_cast<double>(std::filesystem::file_size(path)), rate};
    state.counters["text_bytes"] = {static_cast<double>(files.TextSize()), rate};
}
BENCHMARK_CAPTURE(ReadFastQ, plain, "reads.fastq")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadFastQ, gzip, "reads.fastq.gz")->Unit(benchmark::kMillisecond);

}  // namespace
