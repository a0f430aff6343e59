#pragma once

namespace qel_minimap2::kernel {

/// True when the processor has AVX2 and QEL_KERNEL is not "library" in the environment, which leaves base alignment,
/// finding minimizers, sorting anchors and chaining to minimap2's own functions. Decided at the first call. Any thread.
bool UsesOwnKernels();

}  // namespace qel_minimap2::kernel
