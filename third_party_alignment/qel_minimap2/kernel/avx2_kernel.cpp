#include "third_party_alignment/qel_minimap2/kernel/avx2_kernel.h"

#include "third_party_alignment/qel_minimap2/kernel/certified_band.h"
#include "third_party_alignment/qel_minimap2/kernel/checkpointed_sweep.h"
#include "third_party_alignment/qel_minimap2/kernel/general_kernel.h"
#include "third_party_alignment/qel_minimap2/kernel/own_calls.h"

namespace qel_minimap2::kernel {

namespace {

// Shorter gaps are as fast with the general kernel.
constexpr int kShortestForStrips = 24;

// How far below all matches recent paths of this thread scored, per base: what width is worth a try first. It steers
// the time that a call takes, never its result.
thread_local double recent_loss = 0.5;

int ExpectedLoss(int length) {
    return static_cast<int>(recent_loss * length * 1.15) + 24;
}

void Learn(int loss, int length) {
    recent_loss += (static_cast<double>(loss) / length - recent_loss) * 0.1;
}

template <Trace kTrace>
bool AlignInBand(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences,
                 ksw_extz_t& result) {
    const int shorter = Smaller(call.query_length, call.target_length);
    const int surplus = call.target_length - call.query_length;
    // The gap that the difference in length makes is a loss that says nothing about the read's errors.
    const int fixed_loss = GapCost(scoring, surplus < 0 ? -surplus : surplus);
    int expected = ExpectedLoss(shorter) + fixed_loss;
    for (int blocks = 1; blocks <= 8; blocks *= 2) {
        const int width = blocks * Lanes32::kWidth;
        const BandWindow window = WindowOf(call, scoring, width);
        if (window.provable <= expected) {
            continue;
        }
        if (width * 3 > shorter * 2) {  // The whole matrix is not much larger.
            return false;
        }
        const auto outcome = blocks == 1   ? CertifiedBand<1, kTrace>(call, scoring, sequences).Try(window, result)
                             : blocks == 2 ? CertifiedBand<2, kTrace>(call, scoring, sequences).Try(window, result)
                             : blocks == 4 ? CertifiedBand<4, kTrace>(call, scoring, sequences).Try(window, result)
                                           : CertifiedBand<8, kTrace>(call, scoring, sequences).Try(window, result);
        if (outcome.traced) {
            Learn(outcome.loss - fixed_loss, shorter);
            expected = Larger(expected, outcome.loss);
        }
        if (outcome.proven) {
            return true;
        }
    }
    return false;
}

template <Trace kTrace>
bool AlignInStrips(const AlignmentCall& call, const Scoring& scoring, ksw_extz_t& result) {
    PaddedSequences sequences;
    if (!sequences.Prepare(call)) {
        return false;
    }
    if (AlignInBand<kTrace>(call, scoring, sequences, result)) {
        CountOwnCall(OwnFunction::certified_band);
        return true;
    }
    if (CheckpointedSweep<kTrace>(call, scoring, sequences).Run(result)) {
        CountOwnCall(OwnFunction::checkpointed_sweep);
        return true;
    }
    return false;
}

// Whether the call asks for nothing but the whole path and its score, as those that fill the gap between two seeds do.
bool IsGapFilling(const AlignmentCall& call, const Scoring& scoring) {
    constexpr int kDeciding =
        KSW_EZ_APPROX_MAX | KSW_EZ_APPROX_DROP | KSW_EZ_SCORE_ONLY | KSW_EZ_GENERIC_SC | KSW_EZ_EXTZ_ONLY;
    return (call.flags & kDeciding) == KSW_EZ_APPROX_MAX && call.letters == 5 &&
           Smaller(call.query_length, call.target_length) >= kShortestForStrips && Fits(scoring);
}

template <bool kBanded>
bool AlignGenerally(const AlignmentCall& call, const Scoring& scoring, int band, ksw_extz_t& result) {
    CountOwnCall(OwnFunction::general_kernel);
    if (call.Has(KSW_EZ_SCORE_ONLY)) {
        return GeneralKernel<kBanded, Trace::none>(call, scoring, band).Run(result);
    }
    return call.Has(KSW_EZ_RIGHT) ? GeneralKernel<kBanded, Trace::right>(call, scoring, band).Run(result)
                                  : GeneralKernel<kBanded, Trace::left>(call, scoring, band).Run(result);
}

}  // namespace

bool AlignWithAvx2(const AlignmentCall& call, ksw_extz_t& result) {
    ksw_reset_extz(&result);
    Scoring scoring;
    if (!MakeScoring(call, scoring)) {
        return true;
    }
    const int longer = Larger(call.query_length, call.target_length);
    const int band = call.band < 0 ? longer : call.band;
    if (band < longer) {
        return AlignGenerally<true>(call, scoring, band, result);
    }
    if (IsGapFilling(call, scoring) && (call.Has(KSW_EZ_RIGHT) ? AlignInStrips<Trace::right>(call, scoring, result)
                                                               : AlignInStrips<Trace::left>(call, scoring, result))) {
        return true;
    }
    return AlignGenerally<false>(call, scoring, band, result);
}

}  // namespace qel_minimap2::kernel
