#pragma once

#include <istream>
#include <string>

#include "common/fastq_record.h"

namespace Common {

/// Iterates once over the records of a FASTQ stream, four lines each. The stream is borrowed and must outlive the
/// iterable. Not synchronised.
class FastQIterable {
public:
    explicit FastQIterable(std::istream& stream) : stream(&stream) {}

    /// Reads the first record. Throws std::runtime_error "Cannot start FastQ iteration twice" if iteration has already
    /// begun. Also throws what Advance throws.
    void begin();

    /// Reads the next record. Returns false if fewer than four lines are left; the empty text after the last line feed
    /// counts as a line. A stream error is logged as a warning and also ends the iteration. Throws std::runtime_error
    /// for a record that fails FastQRecord::Validate.
    bool Advance();

    /// Like Advance, but returns nothing. At the end, Current keeps the last record.
    void Increment();

    /// The record read last. Valid until the next Advance or Increment.
    FastQRecord& Current() { return record; }

private:
    enum class State { not_started = 0, available = 1, end = 2 };

    bool ReadRecordLines();

    std::istream* stream;
    FastQRecord record;
    State state = State::not_started;
    // The four lines of a record. They are members only so that their memory is reused.
    std::string title;
    std::string sequence;
    std::string plus;
    std::string qstring;
};

}  // namespace Common
