// Measures the steps from the SAM text of one read to figures, SAM lines and a summary row.

#include <memory>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#include "common/fastq_record.h"
#include "processors/aligner.h"
#include "processors/output_file.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "third_party_alignment/ext_align_caller.h"
#include "third_party_alignment/sam_handler.h"

namespace {

constexpr int kReadLength = 4000;

std::string Bases() {
    unsigned random = 1;
    return Tests::RandomBases(random, kReadLength);
}

// Returns the record of a read mapped to "chr0", with an insertion and a deletion every 20 bases and minimap2's tags.
std::string MappedRecord(const std::string& sequence) {
    std::string cigar;
    for (int bases = 0; bases < kReadLength; bases += 20) {
        cigar += "9M2I1D9M";
    }
    return "read\t16\tchr0\t101\t60\t" + cigar + "\t*\t0\t0\t" + sequence +
           "\t*\tNM:i:700\tms:i:5200\tAS:i:5100\tnn:i:0\ttp:A:P\tcm:i:310\ts1:i:2900\ts2:i:0\tde:f:0.12\n";
}

std::string Header(int lines) {
    std::string header;
    for (int i = 0; i < lines; ++i) {
        header += "@SQ\tSN:chr" + std::to_string(i) + "\tLN:1000000\n";
    }
    return header;
}

// All records follow the same header, as with a back-end that writes its header before each record: a large header is
// parsed once and then only compared.
void ParseMappedRecord(benchmark::State& state) {
    using ThirdPartyAlignment::SamHandler;
    std::string sam = Header(static_cast<int>(state.range(0))) + MappedRecord(Bases());
    for ([[maybe_unused]] auto _ : state) {
        auto result = SamHandler::Parse(std::move(sam), kReadLength);
        benchmark::DoNotOptimize(result.accuracy);
        sam = std::move(result.sam_record);  // The record is unchanged; reusing it avoids a copy in the timed code.
    }
}
BENCHMARK(ParseMappedRecord)->ArgName("header_lines")->Arg(1)->Arg(100'000);

class FixedCaller : public ThirdPartyAlignment::ExtAlignCaller {
public:
    std::string Call(const std::string& /*sequence*/, const std::string& /*read_name*/) override { return sam; }
    std::shared_ptr<ExtAlignCaller> Copy() const override { return std::make_shared<FixedCaller>(*this); }

private:
    const std::string sam = Header(1) + MappedRecord(Bases());
};

class FixedAligner : public Tavik::Aligner {
public:
    explicit FixedAligner(const std::string& folder) {
        save_path = folder;
        caller = std::make_unique<FixedCaller>();
        summary.Open(folder + "/" + GetSummaryFileName());
    }
};

// The work of a worker while it holds the output locks.
void WriteLines(benchmark::State& state) {
    const Tests::TemporaryFolder folder;
    Tavik::OutputFile sam;
    Tavik::OutputFile summary;
    sam.Open(folder.Path("reads.sam"));
    summary.Open(folder.Path("summary.txt"));
    // A record has about 150 characters plus 1.6 per base; a row has 90.
    const auto record = std::string(static_cast<std::size_t>(150 + state.range(0) * 16 / 10), 'A') + "\n";
    const auto row = std::string(90, '1') + "\n";
    for ([[maybe_unused]] auto _ : state) {
        sam.WriteLine(record);
        summary.WriteLine(row);
    }
}
BENCHMARK(WriteLines)->ArgName("bases")->Arg(300)->Arg(8000)->Iterations(15'000);

// The work of one job without the mapping.
void WriteRead(benchmark::State& state) {
    const Tests::TemporaryFolder folder;
    FixedAligner aligner(folder.Path(""));
    aligner.StartNewFile("reads.fastq");
    const Common::FastQRecord record("@read", Bases(), std::string(kReadLength, 'I'));
    for ([[maybe_unused]] auto _ : state) {
        aligner.ProcessRead(record, "read");
    }
}
// Limits the size of the SAM file.
BENCHMARK(WriteRead)->Iterations(15'000);

}  // namespace
