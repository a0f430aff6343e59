#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <mmpriv.h>

#include "third_party_alignment/qel_minimap2/index/seed_table.h"
#include "third_party_alignment/qel_minimap2/kernel/avx2_kernel.h"
#include "third_party_alignment/qel_minimap2/kernel/dispatch.h"
#include "third_party_alignment/qel_minimap2/kernel/scratch.h"
#include "third_party_alignment/qel_minimap2/kernel/sketch.h"

// The linker sends the library's calls of these functions to __wrap_<name>, and __real_<name> to the library.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
decltype(ksw_extd2_sse) __wrap_ksw_extd2_sse, __real_ksw_extd2_sse;
decltype(mm_sketch) __wrap_mm_sketch, __real_mm_sketch;
decltype(mm_idx_get) __wrap_mm_idx_get, __real_mm_idx_get;
decltype(mm_idx_cal_max_occ) __wrap_mm_idx_cal_max_occ, __real_mm_idx_cal_max_occ;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace qel_minimap2::kernel {

bool UsesOwnKernels() {
    // Asked once.
    static const bool uses = [] {
        const char* const wanted = std::getenv("QEL_KERNEL");
        return __builtin_cpu_supports("avx2") && (wanted == nullptr || std::string_view(wanted) != "library");
    }();
    return uses;
}

}  // namespace qel_minimap2::kernel

using namespace qel_minimap2::kernel;

// NOLINTBEGIN(bugprone-reserved-identifier)
void __wrap_ksw_extd2_sse(void* km, int qlen, const std::uint8_t* query, int tlen, const std::uint8_t* target,
                          std::int8_t m, const std::int8_t* mat, std::int8_t q, std::int8_t e, std::int8_t q2,
                          std::int8_t e2, int w, int zdrop, int end_bonus, int flag, ksw_extz_t* ez) {
    if (UsesOwnKernels()) {
        const bool done =
            AlignWithAvx2({km, qlen, query, tlen, target, m, mat, q, e, q2, e2, w, zdrop, end_bonus, flag}, *ez);
        TrimScratch();
        if (done) {
            return;
        }
    }
    __real_ksw_extd2_sse(km, qlen, query, tlen, target, m, mat, q, e, q2, e2, w, zdrop, end_bonus, flag, ez);
}

void __wrap_mm_sketch(void* km, const char* str, int len, int w, int k, std::uint32_t rid, int is_hpc, mm128_v* p) {
    const SketchCall call{km, str, len, w, k, rid, p};
    const std::size_t first = p->n;
    if (is_hpc == 0 && CanSketch(call) && UsesOwnKernels()) {
        SketchWithAvx2(call);
    } else {
        __real_mm_sketch(km, str, len, w, k, rid, is_hpc, p);
    }
    // A read's minimizers are looked up next, one after the other.
    if (const auto* const table = qel_minimap2::LookUpsAhead::Table()) {
        for (std::size_t i = first; i < p->n; ++i) {
            table->PrefetchKeys(p->a[i].x >> 8U);
        }
    }
}

const std::uint64_t* __wrap_mm_idx_get(const mm_idx_t* mi, std::uint64_t minier, int* n) {
    const auto* const table = qel_minimap2::SeedTable::Of(*mi);
    return table != nullptr ? table->Find(*mi, minier, *n) : __real_mm_idx_get(mi, minier, n);
}

std::int32_t __wrap_mm_idx_cal_max_occ(const mm_idx_t* mi, float f) {
    const auto* const table = qel_minimap2::SeedTable::Of(*mi);
    return table != nullptr ? table->OccurrenceThreshold(f) : __real_mm_idx_cal_max_occ(mi, f);
}
// NOLINTEND(bugprone-reserved-identifier)
