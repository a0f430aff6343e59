#pragma once

#include <string>
#include <vector>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/packed_bases.h"

namespace qel_minimap2 {

/// The sequences of a reference and all their bases.
struct Reference {
    std::vector<ReferenceSequence> sequences;
    PackedBases bases;
};

/// Reads a FASTA or FASTQ reference, plain or gzip, from beginning to end with minimap2's own parser. Throws
/// std::runtime_error for what that parser would silently skip, losing part of the reference: a damaged or cut gzip
/// file, a cut FASTQ record, a sequence without a name or of more than 2^31 - 1 bases, bytes that are not letters of a
/// sequence, a file in neither format. An empty file gives 0 sequences. Throws std::bad_alloc too.
Reference ReadReference(const std::string& path);

}  // namespace qel_minimap2
