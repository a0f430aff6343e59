#include "common/fastq_iterable.h"

#include <exception>
#include <stdexcept>

#include "common/logging/record.h"
#include "common/reads/line_reading.h"

namespace Common {

void FastQIterable::begin() {
    if (state != State::not_started) {
        throw std::runtime_error("Cannot start FastQ iteration twice");
    }
    Increment();
}

bool FastQIterable::Advance() {
    Increment();
    return state != State::end;
}

bool FastQIterable::ReadRecordLines() {
    for (auto* const line : {&title, &sequence, &plus, &qstring}) {
        if (!ReadLine(*stream, *line)) {
            return false;
        }
        if (stream->bad()) {  // Without an exception mask, the stream does not throw.
            throw std::runtime_error("Error while reading a line from the input stream.");
        }
    }
    return true;
}

void FastQIterable::Increment() {
    TAVIK_LOG(verbose) << "FastQIterable::Increment()";
    state = State::end;
    try {
        if (!ReadRecordLines()) {
            return;
        }
    } catch (const std::exception& error) {
        TAVIK_LOG(warning) << "Caught exception, so setting END flag. " << error.what();
        return;
    } catch (...) {
        TAVIK_LOG(warning) << "Caught unknown exception, so setting END flag.";
        return;
    }
    state = State::available;
    record.Assign(title, sequence, qstring);
    TAVIK_LOG(verbose) << "title:  " << title;
    TAVIK_LOG(verbose) << "seq:    " << sequence;
    TAVIK_LOG(verbose) << "plus:   " << plus;
    TAVIK_LOG(verbose) << "qstring:" << qstring;
}

}  // namespace Common
