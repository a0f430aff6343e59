#pragma once

#include <span>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/sketch.h"

namespace qel_minimap2::kernel {

/// The functions that depend on the width of a register, for one width.
struct Kernels {
    int bits;  ///< The width.
    bool (*align)(const AlignmentCall& call, ksw_extz_t& result);
    void (*sketch)(const SketchCall& call);
    bool (*chain)(const ChainCall& call, Chains& chains);
    bool (*join)(const JoinCall& call, Chains& chains);
};

/// Those that this processor can run, the widest first. Any thread.
std::span<const Kernels> RunnableKernels();

/// Those to be used: the widest; those for 128 bits with QEL_KERNEL=128 in the environment; null with
/// QEL_KERNEL=library, which leaves base alignment, finding minimizers, sorting anchors and chaining to minimap2's own
/// functions. Decided at the first call. Any thread.
const Kernels* ChosenKernels();

}  // namespace qel_minimap2::kernel
