#pragma once

#include <string>
#include <vector>

#include "qel_minimap2/index/index_header.h"
#include "qel_minimap2/index/packed_bases.h"

namespace qel_minimap2 {

/// The sequences of a reference and their bases.
struct Reference {
    std::vector<ReferenceSequence> sequences;
    PackedBases bases;
};

/// Reads a FASTA or FASTQ reference, plain or gzip, with minimap2's own parser. An empty file has no sequences. Throws
/// std::bad_alloc, and throws std::runtime_error if the file cannot be read, is neither FASTA nor FASTQ, or has one of
/// these faults:
///
/// - gzip data that are damaged, truncated or followed by non-zero bytes;
/// - a FASTQ record with more or fewer qualities than bases;
/// - a name that FaultOfSequenceName refuses;
/// - bytes that cannot be in a sequence;
/// - a sequence of more than 2^31 - 1 bases.
Reference ReadReference(const std::string& path);

}  // namespace qel_minimap2
