#include "qel_minimap2/kernel/base_alignment.h"

#include "qel_minimap2/kernel/certified_band.h"
#include "qel_minimap2/kernel/checkpointed_sweep.h"
#include "qel_minimap2/kernel/equal_ends.h"
#include "qel_minimap2/kernel/general_kernel.h"
#include "qel_minimap2/kernel/own_calls.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/short_extension.h"

namespace qel_minimap2::kernel {

namespace {

// For shorter gaps, strips are not faster than the general kernel, which needs less preparation.
constexpr int kShortestForStrips = 24;

// How much less this thread's recent paths scored than a path of matches alone. The cost of the gap that a difference
// in length requires is not counted. These averages decide which widths are tried, so they change a call's time but
// never its result.
struct RecentLoss {
    double per_base = 0.5;
    double per_break = 7;  // A better predictor, but the breaks must be counted first.

    int Expected(int length, int breaks) const {
        // If no breaks were counted, the estimate is deliberately high: a strip that is too narrow costs a second
        // attempt.
        return static_cast<int>(breaks > 0 ? per_break * breaks : per_base * length * 1.15 + 24);
    }
    // Updates the moving averages, which cover about ten paths.
    void Learn(int loss, int length, int breaks) {
        per_base += (static_cast<double>(loss) / length - per_base) * 0.1;
        if (breaks > 0) {
            per_break += (static_cast<double>(loss) / breaks - per_break) * 0.1;
        }
    }
};
thread_local RecentLoss recent_loss;

bool AlignInBand(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences,
                 ksw_extz_t& result) {
    const int shorter = Smaller(call.query_length, call.target_length);
    const int surplus = call.target_length - call.query_length;
    // The difference in length requires a gap, whose cost is not due to errors in the read.
    const int fixed_loss = GapCost(scoring, surplus < 0 ? -surplus : surplus);
    int known_loss = 0;
    struct Attempt {
        int width;
        decltype(&TryBand<1>) run;
    };
    BandProof proof{call, scoring, sequences};
    const auto is_expected_in = [&](const Band& band) {
        return proof.Proves(band, Larger(known_loss, recent_loss.Expected(shorter, proof.breaks) + fixed_loss));
    };
    constexpr int kPer32 = 32 / Lanes::kWidth;
    for (const auto& [width, attempt] :
         {Attempt{32, &TryBand<kPer32>}, Attempt{64, &TryBand<2 * kPer32>}, Attempt{96, &TryBand<3 * kPer32>},
          Attempt{128, &TryBand<4 * kPer32>}, Attempt{192, &TryBand<6 * kPer32>}, Attempt{256, &TryBand<8 * kPer32>}}) {
        // A band of this width saves no cells unless the longer sequence is more than twice as long as the shorter one.
        if (width * 3 > shorter * 2) {
            return false;
        }
        const Band band = BandOf(call, scoring, width);
        // Checked twice, because the first check may count the breaks; the second then expects a different loss.
        if (!is_expected_in(band) && !is_expected_in(band)) {
            continue;
        }
        const auto outcome = attempt(proof, band, result);
        if (outcome.traced) {
            recent_loss.Learn(outcome.loss - fixed_loss, shorter, proof.breaks);
            known_loss = outcome.loss;
        }
        if (outcome.proven) {
            return true;
        }
    }
    return false;
}

bool AlignInStrips(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences,
                   ksw_extz_t& result) {
    if (call.Has(KSW_EZ_EXTZ_ONLY)) {
        const bool done = call.query_length <= 32
                              ? ShortExtension<32 / Lanes::kWidth>(call, scoring, sequences).Run(result)
                              : ShortExtension<64 / Lanes::kWidth>(call, scoring, sequences).Run(result);
        if (done) {
            CountOwnCall(OwnFunction::general_kernel);
        }
        return done;
    }
    if (AlignInBand(call, scoring, sequences, result)) {
        CountOwnCall(OwnFunction::certified_band);
        return true;
    }
    if (CheckpointedSweep(call, scoring, sequences).Run(result)) {
        CountOwnCall(OwnFunction::checkpointed_sweep);
        return true;
    }
    return false;
}

// Returns false for calls that minimap2 never makes while it maps a read with the preset map-ont.
bool IsUsual(const AlignmentCall& call) {
    constexpr int kFlags = KSW_EZ_APPROX_MAX | KSW_EZ_EXTZ_ONLY | KSW_EZ_RIGHT | KSW_EZ_REV_CIGAR;
    constexpr int kBoth = KSW_EZ_APPROX_MAX | KSW_EZ_EXTZ_ONLY;
    return (call.flags & ~kFlags) == 0 && (call.flags & kBoth) != kBoth && call.letters == kLetters &&
           call.query_length > 0 && call.target_length > 0;
}

// Returns true for a call that fills the gap between two anchors. Such a call needs only the complete path and its
// score, and it places gaps left.
bool IsGapFilling(const AlignmentCall& call) {
    return call.Has(KSW_EZ_APPROX_MAX) && !call.Has(KSW_EZ_RIGHT);
}

// Returns true for an extension whose query fits into a strip and whose scores fit into 16 bits.
bool IsShortExtension(const AlignmentCall& call) {
    return call.Has(KSW_EZ_EXTZ_ONLY) && !call.Has(KSW_EZ_APPROX_MAX) && call.query_length <= 64 &&
           call.target_length <= 1000;
}

template <bool kBanded>
bool AlignGenerally(const AlignmentCall& call, const Scoring& scoring, PaddedSequences& sequences, int band,
                    ksw_extz_t& result) {
    if constexpr (kBanded) {  // With a band limit, results depend on zeros that minimap2 reads past the ends.
        sequences.Pad<Lines::kPadding>(0, 0);
    }
    const auto run = [&]<Trace kTrace>() {
        return GeneralKernel<kBanded, kTrace>(call, scoring, sequences, band).Run(result);
    };
    const bool done =
        call.Has(KSW_EZ_RIGHT) ? run.template operator()<Trace::right>() : run.template operator()<Trace::left>();
    if (done) {
        CountOwnCall(OwnFunction::general_kernel);
    }
    return done;
}

// Aligns a call whose target or query is empty because all its bases were cut off as equal ends.
bool AlignOneGap(const AlignmentCall& call, const Scoring& scoring, ksw_extz_t& result) {
    PathRuns path(call);
    if (!path.Reserve()) {
        return false;
    }
    path.AddBorder(call.target_length - 1, call.query_length - 1);
    path.Deliver(result);
    result.score = -GapCost(scoring, call.target_length + call.query_length);
    CountOwnCall(OwnFunction::general_kernel);
    return true;
}

// Aligns a call without a band limit. The score is that of the sequences without the equal bases that were cut off.
bool AlignCompletely(const AlignmentCall& call, const Scoring& scoring, ksw_extz_t& result) {
    if (call.query_length == 0 || call.target_length == 0) {
        return AlignOneGap(call, scoring, result);
    }
    PaddedSequences sequences;
    if (!sequences.Prepare(call)) {
        return false;
    }
    if (sequences.has_only_bases && FitsStrip(scoring) &&
        (IsGapFilling(call) ? Smaller(call.query_length, call.target_length) >= kShortestForStrips
                            : IsShortExtension(call))) {
        sequences.Pad<PaddedSequences::kPadding>(kBesideTarget, kBesideQuery);
        if (AlignInStrips(call, scoring, sequences, result)) {
            return true;
        }
    }
    return AlignGenerally<false>(call, scoring, sequences, Larger(call.query_length, call.target_length), result);
}

}  // namespace

template <>
bool AlignBases<kBits>(const AlignmentCall& call, ksw_extz_t& result) {
    if (!IsUsual(call)) {
        return false;
    }
    const int any = call.matrix[kLetters * kLetters - 1];
    const int score_of_any = any == 0 ? -call.extend2 : any;
    const Scoring scoring{call.open,      call.extend,    call.open2,  call.extend2,
                          call.matrix[0], call.matrix[1], score_of_any};
    const int longer = Larger(call.query_length, call.target_length);
    const int band = call.band < 0 ? longer : call.band;
    // With the preset map-ont, minimap2 usually fills a gap with a band limit of at least the longer sequence's length.
    // Gaps with a lower limit are rare, so they are left to minimap2.
    if (!Fits(scoring) || (band < longer && call.Has(KSW_EZ_APPROX_MAX))) {
        return false;
    }
    ksw_reset_extz(&result);
    if (band < longer) {
        PaddedSequences sequences;
        return sequences.Prepare(call) && AlignGenerally<true>(call, scoring, sequences, band, result);
    }
    // minimap2 never sets KSW_EZ_REV_CIGAR for a gap. Tests set it to keep the equal ends in calls that try to break
    // the proof in certified_band.h.
    const auto unequal = IsGapFilling(call) && !call.Has(KSW_EZ_REV_CIGAR) ? WithoutEqualEnds(call) : call;
    if (!AlignCompletely(unequal, scoring, result)) {
        return false;
    }
    result.score += scoring.match * (unequal.equal_before + unequal.equal_after);
    return true;
}

}  // namespace qel_minimap2::kernel
