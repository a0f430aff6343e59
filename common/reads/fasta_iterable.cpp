#include "common/fasta_iterable.h"

#include <stdexcept>
#include <string_view>

#include "common/reads/line_reading.h"

namespace Common {

namespace {

constexpr int kEndOfFile = std::char_traits<char>::eof();

bool IsBase(int c) {
    return c != kEndOfFile && std::string_view("ACGTU").find(static_cast<char>(c)) != std::string_view::npos;
}

}  // namespace

bool FastaIterable::Advance() {
    if (stream->peek() == kEndOfFile) {
        end = stream->eof();
        if (!end) {
            throw std::runtime_error("Error reading fasta input. Stream in invalid state: " +
                                     std::to_string(stream->rdstate()));
        }
    }
    if (end) {
        return false;
    }

    ReadLine(*stream, title);
    sequence.clear();
    while (IsBase(stream->peek())) {
        ReadLine(*stream, line);
        sequence += line;
    }
    record = FastQRecord(title, sequence, "");
    if (title.empty() || title.front() != '>') {
        throw std::runtime_error("Invalid fasta description, it should start with '>'. " + title);
    }
    record.ValidateSequence();
    return true;
}

}  // namespace Common
