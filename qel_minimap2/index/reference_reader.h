#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qel_minimap2 {

/// Takes the sequences of a reference as they are read.
class ReferenceSink {
public:
    virtual ~ReferenceSink() = default;
    virtual void Start(const std::string& name, std::uint32_t length) = 0;
    /// The next letters of the sequence that was started.
    virtual void Add(std::string_view letters) = 0;
};

/// Reads a FASTA or FASTQ reference, plain or gzip, from end to end with minimap2's own parser and hands it to the
/// sink. Throws std::runtime_error for what that parser passes over in silence, leaving half a reference: a damaged or
/// cut gzip file, a cut FASTQ record, a sequence without a name or of more than 2^31 - 1 bases, bytes that are no
/// letters of a sequence, a file that is neither. An empty file passes: it holds 0 sequences.
void ReadReference(const std::string& path, ReferenceSink& sink);

/// The same without a sink.
void CheckReferenceFile(const std::string& path);

}  // namespace qel_minimap2
