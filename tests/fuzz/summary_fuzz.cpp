// Reads the input as an alignment summary. Either the reader must refuse it, or the rows must satisfy the reader's
// contract. In both cases, the counts in the sample that takes the rows must be consistent.

#include <cstdlib>
#include <exception>
#include <memory>

#include "reports/sample.h"
#include "tests/fuzz/fuzz_file.h"

namespace {

// Many inputs share a sample, because creating a sample takes longer than counting an input's rows.
Reports::Sample& CurrentSample() {
    constexpr int kInputs = 1000;
    static std::unique_ptr<Reports::Sample> sample;
    static int inputs = 0;
    if (inputs++ % kInputs == 0) {
        const Reports::ReferenceLengths lengths = {{"c", 1000}, {"d_rc", 2000000000}};
        sample = std::make_unique<Reports::Sample>("fuzz", lengths, Reports::Detail());
    }
    return *sample;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Fuzz::InputFile file(data, size, ".summary");
    auto& sample = CurrentSample();
    try {
        Reports::SummaryReader reader(file.Path(), 64);  // Most rows cross the end of such a small buffer.
        for (Reports::SummaryRow row; reader.Next(row);) {
            if (row.IsAligned() == (row.genome == "*") || row.correct > row.aligned) {
                std::abort();
            }
            sample.Add(row);
        }
    } catch (const std::exception&) {
    }
    if (sample.lengths.Count() != sample.Aligned() || sample.identities.Count() > sample.Aligned()) {
        std::abort();
    }
    return 0;
}
