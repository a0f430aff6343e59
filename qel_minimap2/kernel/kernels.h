#pragma once

#include <span>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/chaining.h"
#include "qel_minimap2/kernel/sketch.h"

namespace qel_minimap2::kernel {

/// Pointers to functions that are compiled once for each width of registers. All are of the same width.
struct Kernels {
    int bits;
    bool (*align)(const AlignmentCall& call, ksw_extz_t& result);
    void (*sketch)(const SketchCall& call);
    bool (*chain)(const ChainCall& call, Chains& chains);
    bool (*join)(const JoinCall& call, Chains& chains);
};

/// Returns the kernels that this processor can run, the widest first. Any thread.
std::span<const Kernels> RunnableKernels();

/// Returns the widest kernels or, with QEL_KERNEL=128 in the environment, those for 128 bits. Returns null with
/// QEL_KERNEL=library, or if the processor can run none. minimap2's own functions then align bases, sketch sequences,
/// and sort, chain and join anchors. The first call decides for the process. Any thread.
const Kernels* ChosenKernels();

}  // namespace qel_minimap2::kernel
