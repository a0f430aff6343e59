#include "common/sequencing_file_adapter.h"

#include <exception>

#include "common/logger.h"

namespace Common {

namespace {

void Require(bool condition) {
    if (!condition) {
        std::terminate();
    }
}

}  // namespace

SequencingFileAdapter::Iterator& SequencingFileAdapter::Iterator::operator++() {
    Require(index != kEnd);
    index = adapter->Advance() ? index + 1 : kEnd;
    return *this;
}

FastQRecord& SequencingFileAdapter::Iterator::operator*() const {
    Require(adapter != nullptr);
    return adapter->Current();
}

SequencingFileAdapter::SequencingFileAdapter(std::istream& stream, const std::string& name) : name(name) {
    if (stream.peek() == '>') {
        fasta = std::make_unique<FastaIterable>(stream);
    } else {
        fastq = std::make_unique<FastQIterable>(stream);
    }
}

SequencingFileAdapter::Iterator SequencingFileAdapter::begin() {
    Require(state == State::not_started);
    state = State::running;
    if (!Advance()) {
        TAVIK_LOG(error) << "There is no complete read in " << name
                         << ": the program that wrote it must have failed, so the process ends.";
    }
    return {this, 0};
}

const SequencingFileAdapter::Iterator& SequencingFileAdapter::end() {
    static const Iterator shared_end(nullptr, Iterator::kEnd);
    return shared_end;
}

bool SequencingFileAdapter::Advance() {
    Require(state == State::running);
    if (fasta ? fasta->Advance() : fastq->Advance()) {
        return true;
    }
    state = State::end;
    return false;
}

FastQRecord& SequencingFileAdapter::Current() {
    Require(state == State::running);
    return fasta ? fasta->Current() : fastq->Current();
}

}  // namespace Common
