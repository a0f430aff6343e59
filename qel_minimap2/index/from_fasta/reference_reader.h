#pragma once

#include <string>
#include <vector>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/packed_bases.h"

namespace qel_minimap2 {

/// The sequences of a reference and the bases of all of them.
struct Reference {
    std::vector<ReferenceSequence> sequences;
    PackedBases bases;
};

/// Reads a FASTA or FASTQ reference, plain or gzip, from end to end with minimap2's own parser. Throws
/// std::runtime_error for what that parser passes over in silence, leaving half a reference: a damaged or cut gzip
/// file, a cut FASTQ record, a sequence without a name or of more than 2^31 - 1 bases, bytes that are no letters of a
/// sequence, a file that is neither. An empty file passes: it holds 0 sequences. Throws std::bad_alloc too.
Reference ReadReference(const std::string& path);

}  // namespace qel_minimap2
