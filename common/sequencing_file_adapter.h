#pragma once

#include <cstdint>
#include <istream>
#include <limits>
#include <memory>
#include <string>

#include "common/fasta_iterable.h"
#include "common/fastq_iterable.h"

namespace Common {

/// The reads of one FASTA or FASTQ stream as a container that can be iterated once, by one thread. The stream is
/// borrowed and must outlive the adapter. Misuse of the adapter or of its iterators is a programming error and ends the
/// process through std::terminate.
class SequencingFileAdapter {
public:
    /// A position, given by a 0-based record index. All iterators of an adapter share the stream's position.
    class Iterator {
    public:
        /// Reads the next record. Throws what FastQIterable::Advance and FastaIterable::Advance throw.
        Iterator& operator++();
        /// The current record, valid until the next increment.
        FastQRecord& operator*() const;
        /// Compares only the indices, so the ends of two adapters are equal.
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.index == b.index; }

    private:
        friend class SequencingFileAdapter;
        static constexpr std::uint64_t kEnd = std::numeric_limits<std::uint64_t>::max();

        Iterator(SequencingFileAdapter* adapter, std::uint64_t index) : adapter(adapter), index(index) {}

        SequencingFileAdapter* adapter;
        std::uint64_t index;
    };

    /// Checks the first character of the stream: ">" means FASTA; anything else, or an empty stream, means FASTQ. An
    /// exception thrown by the stream's device passes through if the stream's exception mask contains badbit. `name`:
    /// the stream's name in messages.
    explicit SequencingFileAdapter(std::istream& stream, const std::string& name = "the input");

    /// Reads the first record and returns the iterator with index 0. If there is no record, logs an error and returns
    /// the iterator anyway; dereferencing it ends the process. This is deliberate: a file without records must not pass
    /// as a file of 0 reads. Call only once.
    Iterator begin();
    /// The end iterator of every adapter.
    static const Iterator& end();

private:
    enum class State { not_started = 0, running = 1, end = 2 };

    bool Advance();
    FastQRecord& Current();

    State state = State::not_started;
    std::string name;
    std::unique_ptr<FastaIterable> fasta;  // Exactly one of `fasta` and `fastq` is set.
    std::unique_ptr<FastQIterable> fastq;
};

}  // namespace Common
