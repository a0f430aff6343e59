// Checks what the wrapper library assumes about the installed minimap2 library. Runs when the build is configured,
// because a later minimap2 may have the same interface and still break an assumption. Prints each broken assumption.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include <minimap.h>

#include <ksw2.h>
#include <mmpriv.h>

// With the same linker options as the wrapper library, this program wraps the functions that the library replaces. If
// minimap2's headers declare a function with a different signature, the program does not compile. If minimap2's archive
// lacks a function, the program does not link. If minimap2 no longer calls a function by its name, that function's
// element of `called` stays false.
namespace {

enum Wrapped { ksw, sketch, getseq, cal_max_occ, filter, collect, sort, chain, join, wrapped_count };
std::array<bool, wrapped_count> called;
const std::array<const char*, wrapped_count> names = {"ksw_extd2_sse",      "mm_sketch",      "mm_idx_getseq",
                                                      "mm_idx_cal_max_occ", "mm_seed_mz_flt", "mm_collect_matches",
                                                      "radix_sort_128x",    "mg_lchain_dp",   "mg_lchain_rmq"};

bool Check(bool condition, const char* what) {
    if (!condition) {
        std::printf("%s\n", what);
    }
    return condition;
}

}  // namespace

extern "C" {
mm_idx_t* mm_idx_init(int w, int k, int b, int flag);
mm_seed_t* mm_collect_matches(void*, int*, int, int, int, int, const mm_idx_t*, const mm128_v*, std::int64_t*, int*,
                              int*, std::uint64_t**);
#define TAVIK_WRAP(result, index, name, parameters, arguments) \
    result __real_##name parameters;                           \
    result __wrap_##name parameters {                          \
        called[index] = true;                                  \
        return __real_##name arguments;                        \
    }                                                          \
    static_assert(std::is_same_v<decltype(name), result parameters>);
TAVIK_WRAP(void, ksw, ksw_extd2_sse,
           (void* km, int ql, const std::uint8_t* q, int tl, const std::uint8_t* t, std::int8_t m,
            const std::int8_t* mat, std::int8_t go, std::int8_t ge, std::int8_t go2, std::int8_t ge2, int w, int zdrop,
            int bonus, int flag, ksw_extz_t* ez),
           (km, ql, q, tl, t, m, mat, go, ge, go2, ge2, w, zdrop, bonus, flag, ez))
TAVIK_WRAP(void, sketch, mm_sketch,
           (void* km, const char* text, int length, int w, int k, std::uint32_t id, int hpc, mm128_v* p),
           (km, text, length, w, k, id, hpc, p))
TAVIK_WRAP(int, getseq, mm_idx_getseq,
           (const mm_idx_t* index, std::uint32_t id, std::uint32_t begin, std::uint32_t end, std::uint8_t* bases),
           (index, id, begin, end, bases))
TAVIK_WRAP(std::int32_t, cal_max_occ, mm_idx_cal_max_occ, (const mm_idx_t* index, float fraction), (index, fraction))
TAVIK_WRAP(void, filter, mm_seed_mz_flt, (void* km, mm128_v* list, std::int32_t most, float fraction),
           (km, list, most, fraction))
TAVIK_WRAP(mm_seed_t*, collect, mm_collect_matches,
           (void* km, int* count, int length, int occ, int most, int distance, const mm_idx_t* index,
            const mm128_v* minimizers, std::int64_t* anchors, int* repeats, int* places, std::uint64_t** list),
           (km, count, length, occ, most, distance, index, minimizers, anchors, repeats, places, list))
TAVIK_WRAP(void, sort, radix_sort_128x, (mm128_t * begin, mm128_t* end), (begin, end))
TAVIK_WRAP(mm128_t*, chain, mg_lchain_dp,
           (int x, int y, int bw, int skip, int iterations, int count, int score, float gap, float pen, int cdna,
            int segments, std::int64_t n, mm128_t* a, int* chains, std::uint64_t** list, void* km),
           (x, y, bw, skip, iterations, count, score, gap, pen, cdna, segments, n, a, chains, list, km))
TAVIK_WRAP(mm128_t*, join, mg_lchain_rmq,
           (int far, int near, int bw, int skip, int cap, int count, int score, float gap, float pen, std::int64_t n,
            mm128_t* a, int* chains, std::uint64_t** list, void* km),
           (far, near, bw, skip, cap, count, score, gap, pen, n, a, chains, list, km))
}

namespace {

constexpr int kWindow = 10, kLength = 15, kBucketBits = 14;

std::string Reference() {
    std::string bases;
    std::uint32_t state = 1;
    for (int i = 0; i < 20000; ++i) {
        state = state * 1664525U + 1013904223U;
        bases += "ACGT"[state >> 30U];
    }
    return bases;
}

// The bases [2000, 6000) and [8000, 11000) of the reference, with every 40th base changed. Because of the bases left
// out, minimap2 joins chains.
std::string Read(const std::string& reference) {
    auto read = reference.substr(2000, 4000) + reference.substr(8000, 3000);
    for (std::size_t i = 20; i < read.size(); i += 40) {
        read[i] = read[i] == 'A' ? 'C' : 'A';
    }
    return read;
}

// Writes the index to a file and compares the file with the index and the reference. The file consists of a header, the
// name and length of each sequence, the positions and minimizers of each bucket, and the bases with four bits each.
bool IsStoredAsExpected(const mm_idx_t& index, const std::string& reference) {
    std::FILE* const file = std::tmpfile();
    if (!Check(file != nullptr, "cannot create a temporary file")) {
        return false;
    }
    mm_idx_dump(file, &index);
    std::rewind(file);
    const auto number = [&](auto value) {
        return std::fread(&value, sizeof value, 1, file) == 1 ? value : decltype(value)(-1);
    };
    std::array<char, 4> magic{};
    bool good = std::fread(magic.data(), 4, 1, file) == 1 && std::memcmp(magic.data(), "MMI\2", 4) == 0;
    for (const std::uint32_t value : {kWindow, kLength, kBucketBits, 1, 0}) {
        good = good && number(std::uint32_t()) == value;
    }
    good = good && number(std::uint8_t()) == 3 && number(std::uint8_t()) == 'r' && number(std::uint8_t()) == 'e' &&
           number(std::uint8_t()) == 'f' && number(std::uint32_t()) == reference.size();
    std::uint64_t minimizers = 0;
    for (std::uint64_t bucket = 0; good && bucket < 1U << kBucketBits; ++bucket) {
        std::vector<std::uint64_t> positions(number(std::uint32_t()));
        for (auto& position : positions) {
            position = number(std::uint64_t());
        }
        const auto count = number(std::uint32_t());
        for (std::uint32_t i = 0; good && i < count; ++i, ++minimizers) {
            const auto key = number(std::uint64_t()), value = number(std::uint64_t());
            int occurrences = 0;
            const auto* const found = mm_idx_get(&index, (key >> 1U) << kBucketBits | bucket, &occurrences);
            good = (key & 1U) != 0 ? occurrences == 1 && *found == value
                                   : occurrences == static_cast<int>(value & UINT32_MAX) &&
                                         (value >> 32U) + (value & UINT32_MAX) <= positions.size() &&
                                         std::memcmp(found, &positions[value >> 32U], 8 * (value & UINT32_MAX)) == 0;
        }
    }
    for (std::size_t i = 0; good && i < reference.size(); i += 8) {
        const auto word = number(std::uint32_t());
        for (std::size_t j = i; j < std::min(i + 8, reference.size()); ++j) {
            good = good && "ACGT"[word >> 4 * (j - i) & 3U] == reference[j];
        }
    }
    good = good && minimizers > 1000 && std::fgetc(file) == EOF;
    std::fclose(file);
    return Check(good, "the layout of index files has changed");
}

}  // namespace

int main() {
    const auto reference = Reference(), read = Read(reference);
    const char *text = reference.c_str(), *name = "ref";
    mm_verbose = 1;
    mm_idxopt_t indexing;
    mm_mapopt_t mapping;
    mm_set_opt(nullptr, &indexing, &mapping);
    mm_set_opt("map-ont", &indexing, &mapping);
    bool good = Check(indexing.k == kLength && indexing.w == kWindow && indexing.bucket_bits == kBucketBits,
                      "the preset map-ont has different k-mers, windows or buckets");
    mapping.flag |= MM_F_CIGAR;
    mm_idx_t* const index = mm_idx_str(kWindow, kLength, 0, kBucketBits, 1, &text, &name);
    good =
        Check(mm_idx_init(kWindow, kLength, kBucketBits, 0)->h == nullptr, "a new index has a table of names") && good;
    good = IsStoredAsExpected(*index, reference) && good;
    mm_mapopt_update(&mapping, index);
    // The wrapper library stores its table in the member `h`, so minimap2 must not use this member when it maps reads.
    index->h = static_cast<void*>(&good);
    mm_tbuf_t* const buffer = mm_tbuf_init();
    int count = 0;
    mm_reg1_t* const records =
        mm_map(index, static_cast<int>(read.size()), read.c_str(), &count, buffer, &mapping, "read");
    good =
        Check(count > 0 && records[0].rs == 2000 && records[0].re == 11000, "a read maps to a different place") && good;
    for (int i = 0; i < wrapped_count; ++i) {
        if (!called[static_cast<std::size_t>(i)]) {
            std::printf("%s is no longer called by this name\n", names[static_cast<std::size_t>(i)]);
            good = false;
        }
    }
    return good ? 0 : 1;
}
