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

/// Why an input file cannot be read on. The text does not name the file.
struct InputError : std::runtime_error {
    InputError(const std::string& reason, const std::string& logged) : std::runtime_error(reason), logged(logged) {}
    std::string logged;  ///< What the aligner's log says when it meets the same.
};

/// The reads of one input file by the rules of the aligner, whose readers it shares. Not synchronised.
class InputReads {
public:
    /// Opens the file. Throws InputError.
    explicit InputReads(const std::string& path);

    /// Reads the next record; four blank lines are none. False at the end. Throws InputError for a record that the
    /// aligner refuses and for a file that cannot be read on; do not call it again then.
    bool Next();

    /// False where the title of the record read last holds no identifier: the aligner skips it with an error.
    bool HasName() const { return title.size() > 1; }
    /// The name that the aligner gives that read in its tables.
    std::string_view Name() const;
    const std::string& Sequence() const { return fasta ? fasta->Current().GetSequence() : sequence; }

    /// Records so far.
    std::uint64_t Count() const { return count; }
    /// At the end: a further record begins there and is cut short.
    bool EndsInsideRecord() const { return cut; }

private:
    void Guard(const std::function<void()>& read) const;
    bool NextFasta();
    bool NextFastq();

    const std::string path;
    boost::iostreams::filtering_istream stream;
    std::unique_ptr<Common::FastaIterable> fasta;  // Set for a FASTA file.
    Common::FastQRecord record;                    // Of a FASTQ file.
    std::string title;
    std::string sequence;
    std::string plus;
    std::string qualities;
    std::uint64_t count = 0;
    bool cut = false;
};

}  // namespace Checks
