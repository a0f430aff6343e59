// Reads the input as a read file: as gzip if it begins with 0x1f, otherwise as plain text. The readers must return
// records or throw a std::exception.

#include <exception>

#include "common/fasta_iterable.h"
#include "common/fastq_iterable.h"
#include "common/sequencing_file.h"
#include "tests/fuzz/fuzz_file.h"

namespace {

template <typename Reads>
void Walk(std::istream& stream) {
    Reads reads(stream);
    while (reads.Advance()) {
        const auto& record = reads.Current();
        if (!record.GetTitle().empty()) {
            record.GetReadId();
            record.GetRunId();
        }
        record.ToString();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool is_gzip = size > 0 && data[0] == 0x1f;
    const Fuzz::InputFile file(data, size, is_gzip ? ".gz" : ".fastq");
    try {
        boost::iostreams::filtering_istream stream;
        Common::OpenSequencingFile(file.Path(), stream);
        // Bypasses the adapter, which deliberately ends the process for a file without records.
        if (stream.peek() == '>') {
            Walk<Common::FastaIterable>(stream);
        } else {
            Walk<Common::FastQIterable>(stream);
        }
    } catch (const std::exception&) {
    }
    return 0;
}
