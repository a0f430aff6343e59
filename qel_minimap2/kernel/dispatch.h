#pragma once

namespace qel_minimap2::kernel {

/// True when this processor has AVX2 and the environment does not say QEL_KERNEL=library, which leaves all to the
/// library's own functions. Decided once. Any thread.
bool UsesOwnKernels();

}  // namespace qel_minimap2::kernel
