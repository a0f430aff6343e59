#pragma once

#include <string>

namespace qel_minimap2 {

/// Reads a FASTA or FASTQ reference, plain or gzip, from end to end with minimap2's own parser and throws
/// std::runtime_error for what that parser passes over in silence, leaving half a reference: a damaged or cut
/// gzip file, a cut FASTQ record, a sequence without a name or of more than 2^31 - 1 bases, bytes that are no
/// letters of a sequence, a file that is neither. An empty file passes: it holds 0 sequences.
void CheckReferenceFile(const std::string& path);

}  // namespace qel_minimap2
