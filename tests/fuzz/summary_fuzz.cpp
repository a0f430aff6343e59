// An alignment summary: its rows follow the rules that the reader promises, or it is refused.

#include <cstdlib>
#include <exception>

#include "reports/sample.h"
#include "tests/fuzz/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto path = Fuzz::WriteInput(data, size, ".summary");
    Reports::Sample sample("fuzz", {{"c", 1000}, {"d_rc", 2000000000}}, {});
    try {
        Reports::SummaryReader reader(path);
        for (Reports::SummaryRow row; reader.Next(row);) {
            if (row.IsAligned() == (row.genome == "*") || row.correct > row.aligned) {
                std::abort();
            }
            sample.Add(row);
        }
    } catch (const std::exception&) {
    }
    if (sample.lengths.Count() != sample.Aligned() || sample.lengths.N50() > sample.lengths.Longest()) {
        std::abort();
    }
    return 0;
}
