#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "third_party_alignment/qel_minimap2/kernel/avx2_kernel.h"
#include "third_party_alignment/qel_minimap2/kernel/scratch.h"

// The linker sends the library's calls of ksw_extd2_sse to __wrap_ksw_extd2_sse, and __real_ksw_extd2_sse to the library.
extern "C" {
decltype(ksw_extd2_sse) __wrap_ksw_extd2_sse;  // NOLINT(bugprone-reserved-identifier)
decltype(ksw_extd2_sse) __real_ksw_extd2_sse;  // NOLINT(bugprone-reserved-identifier)
}

namespace qel_minimap2::kernel {

namespace {

// Asked once: QEL_KERNEL=library in the environment switches the kernels off.
bool UsesOwnKernels() {
    static const bool uses = [] {
        const char* const wanted = std::getenv("QEL_KERNEL");
        return __builtin_cpu_supports("avx2") && (wanted == nullptr || std::string_view(wanted) != "library");
    }();
    return uses;
}

}  // namespace

}  // namespace qel_minimap2::kernel

// NOLINTNEXTLINE(bugprone-reserved-identifier)
void __wrap_ksw_extd2_sse(void* km, int qlen, const std::uint8_t* query, int tlen, const std::uint8_t* target,
                          std::int8_t m, const std::int8_t* mat, std::int8_t q, std::int8_t e, std::int8_t q2,
                          std::int8_t e2, int w, int zdrop, int end_bonus, int flag, ksw_extz_t* ez) {
    using namespace qel_minimap2::kernel;
    if (UsesOwnKernels()) {
        const bool done = AlignWithAvx2(
            {km, qlen, query, tlen, target, m, mat, q, e, q2, e2, w, zdrop, end_bonus, flag}, *ez);
        TrimScratch();
        if (done) {
            return;
        }
    }
    __real_ksw_extd2_sse(km, qlen, query, tlen, target, m, mat, q, e, q2, e2, w, zdrop, end_bonus, flag, ez);
}
