#pragma once

namespace qel_minimap2 {

/// Returns why minimap2 cannot run on this processor, or null if it can. On x86-64, minimap2's base alignment is
/// compiled for SSE4.1, and a processor without SSE4.1 would end the process in the middle of a run.
inline const char* ProcessorFault() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("sse4.1") == 0) {
        return "this processor has no SSE4.1, which minimap2 needs";
    }
#endif
    return nullptr;
}

}  // namespace qel_minimap2
