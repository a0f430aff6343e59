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

/// Reading an input file failed. The text gives the reason without the file's name.
struct InputError : std::runtime_error {
    InputError(const std::string& reason, const std::string& logged, bool damaged = false)
        : std::runtime_error(reason), logged(logged), damaged(damaged) {}
    std::string logged;  ///< What the aligner logs for the same error.
    bool damaged;        ///< The gzip data are damaged, end too early, or are none.
};

/// Reads one input file with the aligner's readers and by its rules. Not synchronised.
class InputReads {
public:
    /// Opens the file. Throws InputError.
    explicit InputReads(const std::string& path);

    /// Reads the next record; four blank lines are not a record. False at the end. Throws InputError for a record that
    /// the aligner refuses, or if reading fails; do not call it again after that.
    bool Next();

    /// False if the title of the last record has no identifier: the aligner skips such a read with an error.
    bool HasName() const { return title.size() > 1; }
    /// The name of the last record's read in the aligner's summary.
    std::string_view Name() const;
    bool IsFasta() const { return fasta != nullptr; }
    /// The last record's title with its marker.
    const std::string& Title() const { return title; }
    const std::string& Sequence() const { return fasta ? fasta->Current().GetSequence() : sequence; }

    /// Of the last record of a FASTQ file.
    const std::string& Qualities() const { return qualities; }

    /// Number of records so far.
    std::uint64_t Count() const { return count; }
    /// At the end: true if the file ends inside a further record.
    bool EndsInsideRecord() const { return cut; }
    /// After an InputError about a record: true if the file ends inside that record's last line.
    bool EndsWithRefusedRecord() const { return stream.eof(); }

private:
    void Guard(const std::function<void()>& read) const;
    bool NextFasta();
    bool NextFastq();

    const std::string path;
    boost::iostreams::filtering_istream stream;
    std::unique_ptr<Common::FastaIterable> fasta;  // Set for a FASTA file.
    Common::FastQRecord record;                    // The last record of a FASTQ file.
    std::string title;
    std::string sequence;
    std::string plus;
    std::string qualities;
    std::uint64_t count = 0;
    bool cut = false;
};

}  // namespace Checks
