#pragma once

#include <istream>
#include <string>

#include "common/fastq_record.h"

namespace Common {

/// Single-pass iteration over the records of a FASTA stream; a sequence may span several lines. The stream is
/// borrowed and must outlive the iterable. One thread.
class FastaIterable {
public:
    explicit FastaIterable(std::istream& stream) : stream(&stream) {}

    /// Reads the next record; false at the end. A line that does not begin with one of "ACGTU" ends the
    /// sequence before it and is taken as the next description.
    /// Throws std::runtime_error for a description without ">", for a sequence that fails
    /// FastQRecord::ValidateSequence and for a stream in a failed state; a device's exceptions pass through. On a
    /// stream without an exception mask, a device that fails inside a record yields the part read so far, and the next
    /// Advance throws.
    bool Advance();

    /// The record read last, without qualities; it changes with the next Advance.
    FastQRecord& Current() { return record; }

private:
    std::istream* stream;
    FastQRecord record;
    bool end = false;
    // Members only to reuse their memory.
    std::string title;
    std::string line;
    std::string sequence;
};

}  // namespace Common
