#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <boost/iostreams/filtering_stream.hpp>

#include "common/fasta_iterable.h"
#include "common/fastq_record.h"

namespace Checks {

/// Reading an input file failed. The text is the reason, without the name of the file.
struct InputError : std::runtime_error {
    InputError(const std::string& reason, const std::string& logged, bool in_record = false)
        : std::runtime_error(reason), logged(logged), in_record(in_record) {}
    std::string logged;  ///< Part of what the aligner logs for the same error.
    bool in_record;      ///< A record is wrong. False if the file is empty, not regular, damaged or unreadable.
};

/// Reads one input file with the aligner's readers and rules. Not synchronised.
class InputReads {
public:
    /// Opens the file. Throws InputError.
    explicit InputReads(const std::string& path);

    /// Reads the next record. Returns false at the end. Skips a FASTQ record whose lines are empty (the third may be
    /// "+"), because the aligner skips it without a message. Throws InputError if the aligner refuses the record or
    /// reading fails. Do not call Next after an InputError.
    bool Next();

    /// True if the title of the record read last continues after its marker. The aligner logs an error for any other
    /// read and skips it.
    bool HasName() const { return title.size() > 1; }
    /// The name that the record read last has in the aligner's summary. Call only if HasName.
    std::string_view Name() const;
    bool IsFasta() const { return fasta != nullptr; }
    /// The title of the record read last, including the marker.
    const std::string& Title() const { return title; }
    const std::string& Sequence() const { return fasta ? fasta->Current().GetSequence() : sequence; }

    /// The qualities of the record read last. Only for a FASTQ file.
    const std::string& Qualities() const { return qualities; }

    /// Number of records so far.
    std::uint64_t Count() const { return count; }
    /// True if the file ends inside a record. Known once Next has returned false.
    bool EndsInsideRecord() const { return cut; }
    /// After an InputError about a record: true if reading the record reached the end of the file. In a FASTQ file,
    /// that is the case only if the record's last line has no line feed.
    bool EndsWithRefusedRecord() const { return stream.eof(); }

private:
    void Guard(const std::function<void()>& read) const;
    bool NextFasta();
    bool NextFastq();

    const std::string path;
    boost::iostreams::filtering_istream stream;
    std::unique_ptr<Common::FastaIterable> fasta;  // Set for a FASTA file.
    Common::FastQRecord record;                    // The record read last, if the file is FASTQ.
    std::string title;
    std::string sequence;
    std::string plus;
    std::string qualities;
    std::uint64_t count = 0;
    bool cut = false;
};

}  // namespace Checks
