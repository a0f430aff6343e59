#include "third_party_alignment/alignment_result.h"

namespace ThirdPartyAlignment {

namespace {

// Calls `visit(key, member)` for each member. ToValueMap's map keeps this order.
template <typename Result, typename Visitor>
void VisitMembers(Result& result, Visitor visit) {
    visit("calibration_strand_genome", result.genome);
    visit("calibration_strand_genome_start", result.genome_start);
    visit("calibration_strand_genome_end", result.genome_end);
    visit("calibration_strand_strand_start", result.strand_start);
    visit("calibration_strand_strand_end", result.strand_end);
    visit("calibration_strand_sam_record", result.sam_record);
    visit("calibration_strand_num_events", result.num_events);
    visit("calibration_strand_num_insertions", result.num_insertions);
    visit("calibration_strand_num_deletions", result.num_deletions);
    visit("calibration_strand_num_aligned", result.num_aligned);
    visit("calibration_strand_num_correct", result.num_correct);
    visit("calibration_strand_coverage", result.coverage);
    visit("calibration_strand_identity", result.identity);
    visit("calibration_strand_accuracy", result.accuracy);
    visit("calibration_strand_strand_score", result.strand_score);
}

}  // namespace

Common::ValueMap AlignmentResult::ToValueMap() const {
    Common::ValueMap values;
    VisitMembers(*this, [&values](const char* key, const auto& member) { values.Set(key, member); });
    return values;
}

AlignmentResult AlignmentResult::FromValueMap(const Common::ValueMap& values) {
    AlignmentResult result;
    VisitMembers(result,
                 [&values]<typename Member>(const char* key, Member& member) { member = values.Get<Member>(key); });
    return result;
}

}  // namespace ThirdPartyAlignment
