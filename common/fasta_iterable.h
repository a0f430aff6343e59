#pragma once

#include <istream>
#include <string>

#include "common/fastq_record.h"

namespace Common {

/// Iterates once over the records of a FASTA stream. A sequence may span several lines. The stream is borrowed and must
/// outlive the iterable. Not synchronised.
class FastaIterable {
public:
    explicit FastaIterable(std::istream& stream) : stream(&stream) {}

    /// Reads the next record. Returns false at the end. A line that does not begin with one of "ACGTU" ends the
    /// sequence before it and is taken as the next description. Throws std::runtime_error for
    /// - a description that does not begin with ">",
    /// - a sequence that fails FastQRecord::ValidateSequence,
    /// - a stream in a failed state.
    ///
    /// An exception of the stream's device passes through if the stream's exception mask contains badbit. Without
    /// badbit, a failure of the device inside a record ends the record, and the next Advance throws.
    bool Advance();

    /// The record read last, without qualities. Valid until the next Advance.
    FastQRecord& Current() { return record; }

private:
    std::istream* stream;
    FastQRecord record;
    bool end = false;
    // These are members only so that their memory is reused.
    std::string title;
    std::string line;
    std::string sequence;
};

}  // namespace Common
