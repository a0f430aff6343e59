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

/// Reads a FASTA or FASTQ reference, plain or gzip, from beginning to end with minimap2's own parser. Throws
/// std::runtime_error for faults with which that parser would silently lose part of the reference: a damaged or cut
/// gzip file, a cut FASTQ record, a sequence without a name or of more than 2^31 - 1 bases, bytes that are not letters
/// of a sequence, or a file that is neither FASTA nor FASTQ. Throws std::bad_alloc too. An empty file has 0 sequences.
Reference ReadReference(const std::string& path);

}  // namespace qel_minimap2
