// Loads the input as an index made by tavik_index. Either loading must refuse it, or mapping a read must succeed or
// fail with a message.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "qel_minimap2/qel_minimap2.h"
#include "tests/fuzz/fuzz_file.h"
#include "tests/qel_minimap2/index/mapped/mapped_parts.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

// Changes a number in a section or in the header to a value that is likely to be wrong.
void ForgeNumber(std::string& bytes, std::minstd_rand& random) {
    const auto below = [&](std::size_t end) { return end > 0 ? random() % end : 0; };
    // Mostly chooses the table: loading refuses most wrong numbers elsewhere, and then no look-up follows.
    const auto table = static_cast<std::size_t>(qel_minimap2::SectionKind::table) - 1;
    const auto number_of_section = below(8) == 0 ? below(qel_minimap2::kSectionKinds + 1) : table;
    const auto& section = Tests::MappedParts(bytes).Header().sections[number_of_section];
    const auto begin = std::min<std::size_t>(section.offset, bytes.size());
    const auto length = std::min<std::size_t>(begin > 0 ? section.length : 304, bytes.size() - begin);
    const auto size = std::size_t{1} << below(4);
    if (length < size) {
        return;
    }
    const auto at = begin + below(length / size) * size;
    std::uint64_t number = 0;
    std::memcpy(&number, &bytes[at], size);
    const std::uint64_t other[] = {0,
                                   1,
                                   UINT64_MAX,
                                   number + 1,
                                   number - 1,
                                   number * 2,
                                   number << 32U,
                                   number >> 32U,
                                   number ^ 1U << below(32),
                                   random(),
                                   std::uint64_t{1} << below(64)};
    number = other[below(std::size(other))];
    std::memcpy(&bytes[at], &number, size);
}

}  // namespace

// libFuzzer's own mutator changes all inputs without a complete header, and one in sixteen of the others. In each input
// with a complete header, up to seven numbers are then forged and the checksums corrected, because loading stops at a
// wrong checksum.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    if (size < sizeof(qel_minimap2::FileHeader) || random() % 16 == 0) {
        size = LLVMFuzzerMutate(data, size, max_size);
    }
    std::string bytes(reinterpret_cast<const char*>(data), size);
    if (size >= sizeof(qel_minimap2::FileHeader)) {
        for (auto times = random() % 8; times > 0; --times) {
            ForgeNumber(bytes, random);
        }
        Tests::MappedParts parts(bytes);
        if (random() % 16 != 0) {
            parts.Header().file_size = size;
        }
        parts.Repair();
    }
    std::copy(bytes.begin(), bytes.end(), data);
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::string bases = "ACGTTGCAAGTCCATGGATTCAGGCTAAGCTTACGGATCCATTAGCAGGTCATACGGTTACAGT";
    static std::string name = "read";
    qelmm_set_threads(1);
    const Fuzz::InputFile file(data, size, ".tvi");
    // Each refusal writes a line to standard error, which scripts/fuzz redirects to its log.
    mm_idx_t* const index = qelmm_load_index(file.Path().c_str());
    const bool is_sound = qelmm_check_index(file.Path().c_str()) == nullptr;
    if (index != nullptr) {
        mm_bseq1_t read{};
        read.l_seq = static_cast<int>(bases.size());
        read.name = name.data();
        read.seq = bases.data();
        char* const text = qelmm_align(index, qelmm_cache_idx_occ_thres(index), read);
        const bool failed = std::string_view(text).starts_with("ERROR:");
        if (failed && is_sound) {
            std::abort();  // qelmm_check_index must find every fault that a look-up finds.
        }
        if (!failed) {
            std::free(text);
        }
        qelmm_unload_index(index);
    }
    return 0;
}
