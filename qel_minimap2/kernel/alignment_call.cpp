#include "qel_minimap2/kernel/alignment_call.h"

#include <algorithm>
#include <utility>

namespace qel_minimap2::kernel {

bool MakeScoring(const AlignmentCall& call, Scoring& scoring) {
    if (call.letters <= 1 || call.query_length <= 0 || call.target_length <= 0) {
        return false;
    }
    auto& s = scoring;
    s = {call.open, call.extend, call.open2, call.extend2, 0, call.matrix[0], call.matrix[1], 0, 0, 0};
    // minimap2 computes this sum before it orders the two pieces, and all its scores keep the difference.
    s.corner = -(s.open + s.extend);
    if (s.open2 + s.extend2 < s.open + s.extend) {
        std::swap(s.open, s.open2);
        std::swap(s.extend, s.extend2);
    }
    const int entries = call.letters * call.letters;
    const std::int8_t any = call.matrix[entries - 1];
    s.any = any == 0 ? -s.extend2 : any;
    if (-*std::min_element(call.matrix + 1, call.matrix + entries) > 2 * (s.open + s.extend)) {
        return false;
    }
    s.switch_at = s.extend != s.extend2 ? (s.open2 - s.open) / (s.extend - s.extend2) - 1 : 0;
    if (s.open2 + s.extend2 + s.switch_at * s.extend2 > s.open + s.extend + s.switch_at * s.extend) {
        ++s.switch_at;
    }
    s.switch_by = s.switch_at * (s.extend - s.extend2) - (s.open2 - s.open) - s.extend2;
    return true;
}

}  // namespace qel_minimap2::kernel
