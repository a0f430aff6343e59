#include "qel_minimap2/kernel/dispatch.h"

#include <cstdlib>
#include <string_view>

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
