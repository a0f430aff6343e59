#pragma once

namespace qel_minimap2 {

/// Why minimap2 cannot run on this processor, or null. Its base alignment is compiled for SSE4.1 on x86-64, and a
/// processor without it would end the process in the middle of the work.
inline const char* ProcessorFault() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("sse4.1") == 0) {
        return "this processor has no SSE4.1, which minimap2 needs";
    }
#endif
    return nullptr;
}

}  // namespace qel_minimap2
