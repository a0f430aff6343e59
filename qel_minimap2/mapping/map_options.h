#pragma once

#include <minimap.h>

namespace qel_minimap2 {

/// The options for indexing references and mapping reads: those of "minimap2 -a -x map-ont", except that less memory is
/// kept between reads.
struct Options {
    Options() {
        mm_set_opt(nullptr, &indexing, &mapping);
        mm_set_opt("map-ont", &indexing, &mapping);
        mapping.flag |= MM_F_CIGAR | MM_F_OUT_SAM;
        mapping.cap_kalloc = 256LL << 20U;  // The most that minimap2 keeps in a MappingBuffer between reads, in bytes.
    }

    mm_idxopt_t indexing{};
    mm_mapopt_t mapping{};
};

}  // namespace qel_minimap2
