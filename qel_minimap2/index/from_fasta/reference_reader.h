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
/// std::runtime_error if the file cannot be read, is neither FASTA nor FASTQ, or has one of these faults, most of which
/// the parser ignores: gzip data that are damaged, truncated or followed by non-zero bytes, a FASTQ record with a
/// different number of qualities than bases, a name that FaultOfSequenceName refuses, bytes that cannot be in a
/// sequence, or a sequence of more than 2^31 - 1 bases. Also throws std::bad_alloc. For an empty file, returns no
/// sequences.
Reference ReadReference(const std::string& path);

}  // namespace qel_minimap2
