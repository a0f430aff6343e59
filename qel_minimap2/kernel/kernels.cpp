#include "qel_minimap2/kernel/kernels.h"

#include <cstdlib>
#include <string_view>

#include "qel_minimap2/kernel/base_alignment.h"

namespace qel_minimap2::kernel {

namespace {

template <int kBits>
constexpr Kernels kOf{kBits, &AlignBases<kBits>, &SketchSequence<kBits>, &ChainAnchors<kBits>, &JoinAnchors<kBits>};

}  // namespace

std::span<const Kernels> RunnableKernels() {
#ifdef __x86_64__
    static constexpr Kernels kAll[] = {kOf<256>, kOf<128>};
    const bool has[] = {__builtin_cpu_supports("avx2") != 0, __builtin_cpu_supports("sse4.1") != 0};
    return std::span(kAll).subspan(has[0] ? 0 : has[1] ? 1 : 2);
#else
    static constexpr Kernels kAll[] = {kOf<128>};
    return kAll;
#endif
}

const Kernels* ChosenKernels() {
    static const auto* const chosen = []() -> const Kernels* {
        const char* const value = std::getenv("QEL_KERNEL");
        const std::string_view wanted = value != nullptr ? value : "";
        const auto runnable = RunnableKernels();
        if (runnable.empty() || wanted == "library") {
            return nullptr;
        }
        return wanted == "128" ? &runnable.back() : &runnable.front();
    }();
    return chosen;
}

}  // namespace qel_minimap2::kernel
