#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <unistd.h>

#include <mmpriv.h>

#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/seed_table.h"
#include "qel_minimap2/kernel/anchor_sort.h"
#include "qel_minimap2/kernel/kernels.h"
#include "qel_minimap2/kernel/own_calls.h"
#include "qel_minimap2/kernel/scratch.h"
#include "qel_minimap2/mapping/seed_collection.h"

// The functions that minimap2 calls and this library replaces. The linker redirects calls of <name> to __wrap_<name>,
// and calls of __real_<name> to the function that is replaced.
//
//   function             replaced in                    when
//   ksw_extd2_sse        kernel/base_alignment.cpp      with any width of registers, by a version for that width
//   mm_sketch            kernel/sketch.cpp              as above
//   mm_idx_getseq        index/packed_bases.cpp         always
//   mm_idx_cal_max_occ   index/seed_table.cpp           always: minimap2's function would find no minimizer
//   mm_seed_mz_flt       mapping/seed_collection.cpp    if minimap2's function certainly removes nothing
//   mm_collect_matches   mapping/seed_collection.cpp    always: minimap2's function would find no minimizer
//   radix_sort_128x      kernel/anchor_sort.cpp         with any width, by one version for all widths
//   mg_lchain_dp         kernel/chaining.cpp            with any width, by a version for that width
//   mg_lchain_rmq        kernel/joining.cpp             as above
//   abort                here                           always: minimap2's allocator calls it when memory runs out
//
// kernel/kernels.cpp chooses the width: 256 bits, 128 bits, or none (with QEL_KERNEL=library, or on a processor that
// supports neither width). Calls that a replacement does not accept go to minimap2's function.

// NOLINTBEGIN(clang-diagnostic-reserved-identifier)
extern "C" {
decltype(ksw_extd2_sse) __wrap_ksw_extd2_sse, __real_ksw_extd2_sse;
decltype(mm_sketch) __wrap_mm_sketch, __real_mm_sketch;
decltype(mm_idx_getseq) __wrap_mm_idx_getseq;
decltype(mm_idx_cal_max_occ) __wrap_mm_idx_cal_max_occ;
decltype(mm_seed_mz_flt) __wrap_mm_seed_mz_flt, __real_mm_seed_mz_flt;
decltype(mm_collect_matches) __wrap_mm_collect_matches;
decltype(radix_sort_128x) __wrap_radix_sort_128x, __real_radix_sort_128x;
decltype(mg_lchain_dp) __wrap_mg_lchain_dp, __real_mg_lchain_dp;
decltype(mg_lchain_rmq) __wrap_mg_lchain_rmq, __real_mg_lchain_rmq;
[[noreturn]] void __wrap_abort();
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

using namespace qel_minimap2::kernel;

namespace {

// minimap2's chaining functions return a pointer to the anchors and write the chains and their number through two
// pointer arguments.
mm128_t* Returned(const Chains& chains, int* count, std::uint64_t** list) {
    *count = chains.chain_count;
    *list = chains.chains;
    return chains.anchors;
}

}  // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier)
void __wrap_ksw_extd2_sse(void* km, int qlen, const std::uint8_t* query, int tlen, const std::uint8_t* target,
                          std::int8_t m, const std::int8_t* mat, std::int8_t q, std::int8_t e, std::int8_t q2,
                          std::int8_t e2, int w, int zdrop, int end_bonus, int flag, ksw_extz_t* ez) {
    if (const auto* const kernels = ChosenKernels()) {
        const bool done =
            kernels->align({km, qlen, query, tlen, target, m, mat, q, e, q2, e2, w, zdrop, end_bonus, flag}, *ez);
        TrimScratch();
        if (done) {
            return;
        }
    }
    __real_ksw_extd2_sse(km, qlen, query, tlen, target, m, mat, q, e, q2, e2, w, zdrop, end_bonus, flag, ez);
}

void __wrap_mm_sketch(void* km, const char* str, int len, int w, int k, std::uint32_t rid, int is_hpc, mm128_v* p) {
    const SketchCall call{km, str, len, w, k, rid, p};
    const auto* const kernels = ChosenKernels();
    if (kernels != nullptr && is_hpc == 0 && CanSketch(call)) {
        CountOwnCall(OwnFunction::sketch);
        kernels->sketch(call);
    } else {
        __real_mm_sketch(km, str, len, w, k, rid, is_hpc, p);
    }
}

int __wrap_mm_idx_getseq(const mm_idx_t* mi, std::uint32_t rid, std::uint32_t st, std::uint32_t en, std::uint8_t* seq) {
    if (rid >= mi->n_seq || st >= mi->seq[rid].len) {
        return -1;
    }
    const auto& sequence = mi->seq[rid];
    const auto end = std::min(en, sequence.len);
    qel_minimap2::UnpackBases(mi->S, sequence.offset + st, sequence.offset + end, reinterpret_cast<char*>(seq));
    return static_cast<int>(end - st);
}

std::int32_t __wrap_mm_idx_cal_max_occ(const mm_idx_t* mi, float f) {
    return qel_minimap2::SeedTable::Of(*mi)->OccurrenceThreshold(f);
}

void __wrap_mm_seed_mz_flt(void* km, mm128_v* mv, std::int32_t q_occ_max, float q_occ_frac) {
    if (qel_minimap2::MayHaveFrequent(*mv, q_occ_max, q_occ_frac)) {
        __real_mm_seed_mz_flt(km, mv, q_occ_max, q_occ_frac);
    }
}

mm_seed_t* __wrap_mm_collect_matches(void* km, int* n_m, int qlen, int max_occ, int max_max_occ, int dist,
                                     const mm_idx_t* mi, const mm128_v* mv, std::int64_t* n_a, int* rep_len,
                                     int* n_mini_pos, std::uint64_t** mini_pos) {
    CountOwnCall(OwnFunction::seed_collection);
    const auto seeds =
        qel_minimap2::CollectSeeds({km, *mv, qlen, max_occ, max_max_occ, dist}, *qel_minimap2::SeedTable::Of(*mi));
    *n_m = seeds.count;
    *n_a = seeds.position_count;
    *rep_len = seeds.repetitive_bases;
    *n_mini_pos = seeds.minimizer_count;
    *mini_pos = seeds.minimizer_places;
    return seeds.seeds;
}

void __wrap_radix_sort_128x(mm128_t* beg, mm128_t* end) {
    if (ChosenKernels() != nullptr) {
        CountOwnCall(OwnFunction::anchor_sort);
        SortAnchors(beg, end);
    } else {
        __real_radix_sort_128x(beg, end);
    }
}

mm128_t* __wrap_mg_lchain_dp(int max_dist_x, int max_dist_y, int bw, int max_skip, int max_iter, int min_cnt,
                             int min_sc, float chn_pen_gap, float chn_pen_skip, int is_cdna, int n_segs, std::int64_t n,
                             mm128_t* a, int* n_u, std::uint64_t** u, void* km) {
    const auto* const kernels = ChosenKernels();
    if (kernels != nullptr && is_cdna == 0 && n_segs == 1 && n > 0 && a != nullptr) {
        Chains chains{km, n, a, 0, nullptr};
        const ChainScoring scoring{bw, max_skip, min_cnt, min_sc, chn_pen_gap, chn_pen_skip};
        const bool done = kernels->chain({max_dist_x, max_dist_y, max_iter, scoring}, chains);
        TrimScratch();
        if (done) {
            CountOwnCall(OwnFunction::chaining);
            return Returned(chains, n_u, u);
        }
    }
    return __real_mg_lchain_dp(max_dist_x, max_dist_y, bw, max_skip, max_iter, min_cnt, min_sc, chn_pen_gap,
                               chn_pen_skip, is_cdna, n_segs, n, a, n_u, u, km);
}

mm128_t* __wrap_mg_lchain_rmq(int max_dist, int max_dist_inner, int bw, int max_chn_skip, int cap_rmq_size, int min_cnt,
                              int min_sc, float chn_pen_gap, float chn_pen_skip, std::int64_t n, mm128_t* a, int* n_u,
                              std::uint64_t** u, void* km) {
    const auto* const kernels = ChosenKernels();
    if (kernels != nullptr && n > 0 && a != nullptr) {
        Chains chains{km, n, a, 0, nullptr};
        const ChainScoring scoring{bw, max_chn_skip, min_cnt, min_sc, chn_pen_gap, chn_pen_skip};
        const bool done = kernels->join({max_dist, max_dist_inner, cap_rmq_size, scoring}, chains);
        TrimScratch();
        if (done) {
            CountOwnCall(OwnFunction::joining);
            return Returned(chains, n_u, u);
        }
    }
    return __real_mg_lchain_rmq(max_dist, max_dist_inner, bw, max_chn_skip, cap_rmq_size, min_cnt, min_sc, chn_pen_gap,
                                chn_pen_skip, n, a, n_u, u, km);
}

// Calls _exit and not exit, which would run destructors that free what other threads still use.
void __wrap_abort() {
    constexpr std::string_view kMessage =
        "libqel_minimap2: out of memory during the alignment of a read; the process ends\n";
    static_cast<void>(!::write(STDERR_FILENO, kMessage.data(), kMessage.size()));
    ::_exit(1);
}
// NOLINTEND(clang-diagnostic-reserved-identifier)
